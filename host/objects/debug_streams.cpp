#include <array>
#include <cstdlib>
#include <string>
#include <utility>

#include "kep/ostream.h"
#include "objects/line_buffer.h"
#include "objects/log.h"
#include "objects/stream_choice.h"

namespace kep::host {
namespace {

class NullStream final : public base::ostream {
  public:
    base::ostream& operator<<(char) override { return *this; }
    base::ostream& operator<<(int) override { return *this; }
    base::ostream& operator<<(std::int64_t) override { return *this; }
    base::ostream& operator<<(void*) override { return *this; }
    base::ostream& operator<<(const char*) override { return *this; }
};

class LineStream final : public base::ostream {
  public:
    constexpr explicit LineStream(int index) : index_(index) {}

    base::ostream& operator<<(char character) override {
        appendToLine(index_, {&character, 1});
        return *this;
    }
    base::ostream& operator<<(int value) override { return appended(value); }
    base::ostream& operator<<(std::int64_t value) override { return appended(value); }
    base::ostream& operator<<(void* pointer) override { return appended(pointer); }
    base::ostream& operator<<(const char* text) override {
        if (text) appendToLine(index_, text);
        return *this;
    }

  private:
    /** Formats as the string stream does, so that a value reads the same in a line and in a text. */
    template <class T>
    base::ostream& appended(T value) {
        std::string text;
        base::ostream_string(text) << value;
        appendToLine(index_, text);
        return *this;
    }

    const int index_;
};

template <std::size_t... index>
constexpr std::array<LineStream, sizeof...(index)> makeLineStreams(std::index_sequence<index...>) {
    return {LineStream(static_cast<int>(index))...};
}

constexpr int kErrorStream = static_cast<int>(LogStream::error);
constinit NullStream nullStream;
constinit auto lineStreams = makeLineStreams(std::make_index_sequence<kDebugStreams>());

}  // namespace
}  // namespace kep::host

namespace kep::stream {

constinit int __root_path_offset = KEP_ROOT_PATH_LENGTH;
base::ostream* __dbg_couts[host::kDebugStreams] = {};

}  // namespace kep::stream

namespace kep::host {
namespace {

void show(const StreamChoice& chosen) {
    for (std::size_t index = 0; index < chosen.size(); ++index) {
        stream::__dbg_couts[index] =
            chosen[index] ? static_cast<base::ostream*>(&lineStreams[index]) : &nullStream;
    }
}

}  // namespace

bool isShown(LogStream stream) {
    return stream::__dbg_couts[static_cast<int>(stream)] != &nullStream;
}

namespace {

/** Runs before every static initialisation of this library and of those that are linked with it. */
__attribute__((constructor(101))) void chooseStreams() {
    show(StreamChoice().set(kErrorStream));
    const char* value = std::getenv("KEP_HOST_LOG");
    std::string problem;
    if (const auto chosen = parseStreamChoice(value ? value : "", problem)) {
        show(*chosen);
    } else {
        KEP_HOST_ERROR("KEP_HOST_LOG=" + std::string(value) + ": " + problem + "; only errors are shown");
    }
}

}  // namespace
}  // namespace kep::host
