/** Attribute sets, URLs and text streams. */
#include <atomic>
#include <cstdlib>
#include <cstring>

#include "framework.h"
#include "state.h"

namespace kep::base {
namespace {

/** The position of the next `wanted` outside braces, or the end. */
std::size_t endOfItem(const std::string& text, std::size_t from, char wanted) {
    int depth = 0;
    for (; from < text.size(); ++from) {
        if (depth == 0 && text[from] == wanted) break;
        if (text[from] == '{') ++depth;
        if (text[from] == '}') --depth;
    }
    return from;
}

}  // namespace

AttrSet::AttrSet() = default;

AttrSet::AttrSet(const char* text) {
    Parse(text);
}

AttrSet::~AttrSet() = default;

bool AttrSet::Parse(const char* given) {
    padding_.check();
    items_.clear();
    const std::string text = given ? given : "";
    bool valid = given != nullptr;
    for (std::size_t begin = 0; begin < text.size();) {
        const std::size_t end = endOfItem(text, begin, ',');
        const std::string item = text.substr(begin, end - begin);
        const std::size_t equals = item.find('=');
        if (equals == 0 || equals == std::string::npos)
            valid = false;
        else
            Add(item.substr(0, equals).c_str(), item.substr(equals + 1).c_str());
        begin = end + 1;
    }
    if (!valid) items_.clear();
    return valid;
}

bool AttrSet::Add(const char* key, const char* value) {
    padding_.check();
    for (auto& item : items_)
        if (item.first == key) return item.second = value, true;
    items_.emplace_back(key, value);
    return true;
}

const char* AttrSet::Get(const char* key) const {
    padding_.check();
    for (const auto& item : items_)
        if (item.first == key) return item.second.c_str();
    return nullptr;
}

const char* AttrSet::GetOrDef(const char* key, const char* otherwise) const {
    const char* const value = Get(key);
    return value ? value : otherwise;
}

std::string AttrSet::ToString(bool inBraces) const {
    padding_.check();
    std::string text;
    for (const auto& item : items_) text += (text.empty() ? "" : ",") + item.first + "=" + item.second;
    return inBraces ? "{" + text + "}" : text;
}

bool ConvertToImpl(const char* text, int& value) {
    char* end = nullptr;
    const long number = std::strtol(text, &end, 10);
    if (end == text || *end) return false;
    value = static_cast<int>(number);
    return true;
}

bool ConvertToImpl(const char* text, bool& value) {
    value = std::strcmp(text, "true") == 0;
    return value || std::strcmp(text, "false") == 0;
}

std::string UniqueString() {
    static std::atomic<int> count{0};
    twin::note("UniqueString()");
    return "u" + std::to_string(++count);
}

bool IUrl::Parse(const char* url, AttrSet& parts) {
    if (!twin::granted("IUrl::Parse", url)) return false;
    const char* const dot = std::strrchr(url, '.');
    parts.Parse("scheme=file");
    if (dot) parts.Add("ext", dot + 1);
    return true;
}

ostream_string::ostream_string(std::string& text) : text_(&text) {}

ostream& ostream_string::operator<<(char character) {
    padding_.check();
    *text_ += character;
    return *this;
}

ostream& ostream_string::operator<<(int number) {
    padding_.check();
    *text_ += std::to_string(number);
    return *this;
}

ostream& ostream_string::operator<<(std::int64_t number) {
    padding_.check();
    *text_ += std::to_string(number);
    return *this;
}

ostream& ostream_string::operator<<(void* address) {
    padding_.check();
    *text_ += "@" + std::to_string(reinterpret_cast<std::uintptr_t>(address));
    return *this;
}

ostream& ostream_string::operator<<(const char* text) {
    padding_.check();
    *text_ += text;
    return *this;
}

}  // namespace kep::base

namespace {

/** Records each complete line: its stream and its raw text. */
class DebugStream final : public kep::base::ostream {
  public:
    ostream& operator<<(char character) override { return insert(character); }
    ostream& operator<<(int number) override { return insert(number); }
    ostream& operator<<(std::int64_t number) override { return insert(number); }
    ostream& operator<<(void* address) override { return insert(address); }
    ostream& operator<<(const char* text) override { return insert(text); }

    std::string line;

  private:
    template <class T>
    ostream& insert(T item) {
        kep::base::ostream_string(line) << item;
        static const std::string end = "\n\033[0m";
        if (line.size() > end.size() && line.compare(line.size() - end.size(), end.size(), end) == 0) {
            const auto index = this - streams();
            twin::note(std::to_string(index) + ":" + std::exchange(line, ""));
        }
        return *this;
    }

    static DebugStream* streams();
};

DebugStream streams[32];

DebugStream* DebugStream::streams() {
    return ::streams;
}

}  // namespace

namespace kep::stream {

#define EIGHT(i)                                                                                      \
    &streams[i], &streams[i + 1], &streams[i + 2], &streams[i + 3], &streams[i + 4], &streams[i + 5], \
        &streams[i + 6], &streams[i + 7]
base::ostream* __dbg_couts[] = {EIGHT(0), EIGHT(8), EIGHT(16), EIGHT(24)};
#undef EIGHT
int __root_path_offset = sizeof SOURCE_ROOT "/" - 1;

}  // namespace kep::stream
