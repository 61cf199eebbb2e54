#include <algorithm>
#include <cstdint>
#include <cstring>
#include <exception>
#include <map>

#include "media/pipeline/detector.h"
#include "objects/class_registry.h"
#include "objects/log.h"
#include "picture/reference_frame.h"
#include "text/attr_text.h"
#include "vision/code_record.h"
#include "vision/codes.h"
#include "vision/result_segment.h"

namespace kep::host {
namespace {

/** Pictures without a code until it counts as gone: one that is blurred briefly is not reported again. */
constexpr int kPicturesUntilGone = 3;

/** A text as the value of a message's attribute; if it is not valid as one, braces, `%` and NUL are
 * percent-encoded. */
std::string valueOf(const std::string& text, bool& isEncoded) {
    std::string value;
    isEncoded = text.find('\0') != std::string::npos || !isValue(text);
    for (const char byte : text) {
        constexpr std::string_view digits = "0123456789ABCDEF";
        if (!isEncoded || std::string_view("{}%\0", 4).find(byte) == std::string_view::npos)
            value += byte;
        else
            (value += '%')
                .append(1, digits[static_cast<unsigned char>(byte) >> 4])
                .append(1, digits[byte & 15]);
    }
    std::string written;
    appendValue(written, value);
    return written;
}

/** Reads codes and sends one message when a code appears: `name=code,text=...`. */
class ZBarSink final : public Detector {
  public:
    ~ZBarSink() override { retire(); }

  protected:
    void begin() override {
        seen_.clear();
        segment_.open(kCodeSegment);
    }

    void look(const MediaPacket& packet) override {
        for (auto& [text, missed] : seen_) ++missed;
        try {
            for (const FoundCode& code : codesIn(*packet.picture->frame)) {
                const auto [known, isNew] = seen_.try_emplace(code.text, 0);
                known->second = 0;
                if (isNew) report(code, *packet.picture);
            }
        } catch (const std::exception& failure) {
            KEP_HOST_ERROR(label() + ": " + failure.what());
        }
        std::erase_if(seen_, [](const auto& one) { return one.second >= kPicturesUntilGone; });
    }

  private:
    void report(const FoundCode& code, const Picture& picture) {
        const auto scaled = [](int place, int reference, int size) {
            return static_cast<std::int32_t>(std::int64_t{place} * reference / size);
        };
        const AVFrame& frame = *picture.frame;
        CodeRecord record{};
        record.time = millisecondsOf(picture);
        record.x = scaled(code.left, kReferenceWidth, frame.width);
        record.y = scaled(code.top, kReferenceHeight, frame.height);
        record.w = scaled(code.right, kReferenceWidth, frame.width) - record.x;
        record.h = scaled(code.bottom, kReferenceHeight, frame.height) - record.y;
        std::strncpy(record.format, code.format.c_str(), sizeof record.format - 1);
        record.length = static_cast<std::uint32_t>(std::min(code.text.size(), sizeof record.text));
        std::memcpy(record.text, code.text.data(), record.length);
        segment_.publish(record);

        bool isEncoded = false;
        std::string attributes = "text=" + valueOf(code.text, isEncoded);
        if (isEncoded) attributes += ",encoded=true";
        const auto add = [&](const char* key, std::int64_t value) {
            attributes += std::string(",") + key + "=" + std::to_string(value);
        };
        attributes += ",format=" + code.format;
        add("x", record.x);
        add("y", record.y);
        add("w", record.w);
        add("h", record.h);
        add("time", record.time);
        tell("code", attributes);
    }

    std::map<std::string, int> seen_; /**< by text of the code: pictures since it was last seen */
    ResultSegment<CodeRecord> segment_;
};

const ClassRegistration<ZBarSink> zBarSinkRegistration("ZBarSink");

}  // namespace
}  // namespace kep::host
