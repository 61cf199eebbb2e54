#include "picture/font_file.h"

#include <fcntl.h>
#include <fontconfig/fontconfig.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <memory>
#include <string_view>

#include "objects/mutex.h"
#include "objects/process_end.h"

namespace kep::host {
namespace {

/** A font of all of Chinese, Japanese and Korean takes 20 MB; larger files are refused. */
constexpr off_t kLargestFontFile = off_t{64} << 20;

/** Generic names, which fontconfig resolves to whatever is installed. */
constexpr std::array<std::string_view, 5> kGeneric = {"monospace", "mono", "sans-serif", "sans", "serif"};

struct PatternDeleter {
    void operator()(FcPattern* pattern) const { FcPatternDestroy(pattern); }
};
using PatternPtr = std::unique_ptr<FcPattern, PatternDeleter>;

/**
 * Access to fontconfig's configuration, for one thread at a time: the thread sanitizer does not see the
 * library's own locks. It is freed when the process ends: leak checkers cannot follow the library's
 * references.
 */
class Fontconfig {
  public:
    Fontconfig() : lock_(mutex()) {
        if (config() || hasEnded()) return;
        static const bool isFirst = (ProcessEnd::addStep([] { end(); }), true);
        static_cast<void>(isFirst);
        config() = FcInitLoadConfigAndFonts();
    }

    /** Null once the process is ending. */
    FcConfig* get() const { return config(); }

  private:
    static Mutex& mutex() {
        static Mutex& mutex = *new Mutex;
        return mutex;
    }
    static FcConfig*& config() {
        static FcConfig* config = nullptr;
        return config;
    }
    static bool& hasEnded() {
        static bool hasEnded = false;
        return hasEnded;
    }
    static void end() {
        const MutexLock lock(mutex());
        if (config()) FcConfigDestroy(config());
        config() = nullptr;
        hasEnded() = true;
    }

    const MutexLock lock_;
};

std::string textOf(const FcPattern* pattern, const char* key, int index = 0) {
    FcChar8* text = nullptr;
    const bool found = FcPatternGetString(pattern, key, index, &text) == FcResultMatch;
    return found ? reinterpret_cast<const char*>(text) : "";
}

/** The best match for `asked` according to fontconfig. */
PatternPtr closest(const Fontconfig& fontconfig, FcPattern& asked) {
    if (!fontconfig.get()) return nullptr;
    FcPatternAddBool(&asked, FC_SCALABLE, FcTrue);
    FcConfigSubstitute(fontconfig.get(), &asked, FcMatchPattern);
    FcDefaultSubstitute(&asked);
    FcResult result = FcResultNoMatch;
    return PatternPtr(FcFontMatch(fontconfig.get(), &asked, &result));
}

std::optional<FontFile> fileOf(const FcPattern* found) {
    if (!found) return std::nullopt;
    FontFile file{textOf(found, FC_FILE), 0, textOf(found, FC_FAMILY)};
    FcPatternGetInteger(found, FC_INDEX, 0, &file.index);
    if (file.path.empty()) return std::nullopt;
    return file;
}

bool isOfFamily(const FcPattern* found, const std::string& family) {
    for (int i = 0;; ++i) {
        const std::string one = textOf(found, FC_FAMILY, i);
        if (one.empty()) return false;
        if (FcStrCmpIgnoreCase(reinterpret_cast<const FcChar8*>(one.c_str()),
                               reinterpret_cast<const FcChar8*>(family.c_str())) == 0)
            return true;
    }
}

struct File {
    explicit File(const std::string& path) : number(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK)) {}
    File(const File&) = delete;
    File& operator=(const File&) = delete;
    ~File() {
        if (number >= 0) close(number);
    }
    const int number;
};

}  // namespace

std::optional<FontFile> fontNamed(const std::string& name) {
    if (name.find('/') != std::string::npos) return FontFile{name, 0, ""};
    const Fontconfig fontconfig;
    const PatternPtr asked(FcNameParse(reinterpret_cast<const FcChar8*>(name.c_str())));
    if (!asked) return std::nullopt;
    const std::string family = textOf(asked.get(), FC_FAMILY);
    const PatternPtr found = closest(fontconfig, *asked);
    const bool isAny =
        family.empty() || std::find(kGeneric.begin(), kGeneric.end(), family) != kGeneric.end();
    if (!found || (!isAny && !isOfFamily(found.get(), family))) return std::nullopt;
    return fileOf(found.get());
}

std::optional<FontFile> defaultFont() {
    return fontNamed("monospace");
}

std::optional<FontFile> fontWith(char32_t character) {
    const Fontconfig fontconfig;
    const PatternPtr asked(FcPatternCreate());
    FcCharSet* const characters = FcCharSetCreate();
    if (!asked || !characters) return std::nullopt;
    FcCharSetAddChar(characters, character);
    FcPatternAddCharSet(asked.get(), FC_CHARSET, characters);
    FcCharSetDestroy(characters);
    const PatternPtr found = closest(fontconfig, *asked);
    FcCharSet* has = nullptr;
    if (!found || FcPatternGetCharSet(found.get(), FC_CHARSET, 0, &has) != FcResultMatch ||
        !FcCharSetHasChar(has, character))
        return std::nullopt;
    return fileOf(found.get());
}

std::optional<std::vector<unsigned char>> readFontFile(const std::string& path, std::string& reason) {
    const File file(path);
    struct stat status {};
    if (file.number < 0 || fstat(file.number, &status) != 0) {
        reason = std::strerror(errno);
        return std::nullopt;
    }
    if (!S_ISREG(status.st_mode) || status.st_size > kLargestFontFile) {
        reason = "not a regular file of at most 64 MiB";
        return std::nullopt;
    }
    std::vector<unsigned char> bytes(static_cast<std::size_t>(status.st_size));
    std::size_t done = 0;
    while (done < bytes.size()) {
        const ssize_t count = read(file.number, &bytes[done], bytes.size() - done);
        if (count < 0) {
            reason = std::strerror(errno);
            return std::nullopt;
        }
        if (count == 0) break;
        done += static_cast<std::size_t>(count);
    }
    bytes.resize(done);
    return bytes;
}

}  // namespace kep::host
