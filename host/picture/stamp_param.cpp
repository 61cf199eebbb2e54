// The stamp object for applications: writes their settings to the segment that the image stage reads.
#include <atomic>
#include <cstdint>
#include <cstring>
#include <functional>
#include <optional>
#include <string>

#include "kep/shared_memory.h"
#include "objects/class_registry.h"
#include "objects/log.h"
#include "picture/font.h"
#include "picture/reference_frame.h"
#include "picture/stamp_record.h"
#include "text/convert.h"

namespace kep::host {
namespace {

using base::AttrSet;

constexpr std::int64_t kLargestColour = 0xFFFFFFFF;

/** Checks the attributes of a property; each is optional unless it is read as required. */
class Arguments {
  public:
    Arguments(std::string property, const AttrSet& attributes)
        : property_(std::move(property)), attributes_(attributes) {}

    /** Nullopt when it is absent or refused. */
    std::optional<std::int64_t> number(const char* key, std::int64_t least, std::int64_t most) {
        const char* const text = attributes_.Get(key);
        std::int64_t value = 0;
        if (!text) return std::nullopt;
        if (convert(text, value) && value >= least && value <= most) return value;
        refuse(std::string(key) + "=" + text + " is not from " + std::to_string(least) + " to " +
               std::to_string(most));
        return std::nullopt;
    }
    std::int64_t requiredNumber(const char* key, std::int64_t least, std::int64_t most) {
        if (!attributes_.Get(key)) refuse(std::string(key) + " is missing");
        return number(key, least, most).value_or(least);
    }
    bool requiredTruth(const char* key) {
        const char* const text = attributes_.Get(key);
        bool value = false;
        if (!text || !convert(text, value))
            refuse(std::string(key) + "=" + (text ? text : "") + " is neither true nor false");
        return value;
    }
    const char* text(const char* key) const { return attributes_.Get(key); }
    const std::string& property() const { return property_; }
    /** Whether no attribute has been refused. */
    bool areGood() const { return areGood_; }

  private:
    void refuse(const std::string& reason) {
        if (areGood_) KEP_HOST_ERROR("StampParam: " + property_ + ": " + reason);
        areGood_ = false;
    }

    const std::string property_;
    const AttrSet& attributes_;
    bool areGood_ = true;
};

/** Stores a text, padded with zeros. A text that is too long is cut between two characters of UTF-8. */
template <std::size_t count>
void store(char (&field)[count], const std::string& text, const std::string& what) {
    std::size_t length = text.size();
    if (length > count) {
        length = count;
        while (length > 0 && (static_cast<unsigned char>(text[length]) & 0xC0) == 0x80) --length;
        KEP_HOST_ERROR("StampParam: " + what + ": only the first " + std::to_string(length) + " of " +
                       std::to_string(text.size()) + " bytes are used");
    }
    std::memset(field, 0, count);
    std::memcpy(field, text.data(), length);
}

class StampParam final : public ObjectImpl {
  public:
    StampParam() {
        addNumber("ShmMax", count_, 1, kStamps);
        addNumber("ShmIdx", index_, 0, kStamps - 1);
        properties().add<std::string>(
            "ShmName", [this] { return segment_; },
            [this](const std::string& name) {
                segment_ = name;
                return true;
            });
        addSet("init0", [](Arguments& arguments, StampRecord& stamp) {
            takeReference(arguments, stamp);
            stamp.w = static_cast<std::int32_t>(arguments.requiredNumber("w", 1, kLargestStampSide));
            stamp.h = static_cast<std::int32_t>(arguments.requiredNumber("h", 1, kLargestStampSide));
            const char* const font = arguments.text("font");
            if (!arguments.areGood()) return;
            store(stamp.font, font ? font : "", "font");
            // Opened only to report a missing font in the process that sets it, too.
            Font::open(font ? font : "", stamp.w, stamp.h);
        });
        addSet("change0", [](Arguments& arguments, StampRecord& stamp) {
            takeReference(arguments, stamp);
            const auto x = arguments.number("x", INT32_MIN, INT32_MAX);
            const auto y = arguments.number("y", INT32_MIN, INT32_MAX);
            stamp.x = static_cast<std::int32_t>(x.value_or(stamp.x));
            stamp.y = static_cast<std::int32_t>(y.value_or(stamp.y));
            const auto colour = arguments.number("color", 0, kLargestColour);
            stamp.colour = static_cast<std::uint32_t>(colour.value_or(stamp.colour));
            const char* const pattern = arguments.text("pattern");
            if (pattern && arguments.areGood()) store(stamp.pattern, pattern, "pattern");
        });
        addSet("bgcolor", [](Arguments& arguments, StampRecord& stamp) {
            const std::int64_t colour = arguments.requiredNumber("bgcolor", 0, 0xFFFFFF);
            const std::int64_t alpha = arguments.requiredNumber("alpha", 0, 255);
            stamp.background = static_cast<std::uint32_t>(alpha << 24 | colour);
        });
        addSet("draw0", [](Arguments& arguments, StampRecord& stamp) {
            stamp.draw = arguments.requiredTruth("draw");
        });
    }

  private:
    static constexpr int kStamps = std::size(StampTable{}.stamps);

    static void takeReference(Arguments& arguments, StampRecord& stamp) {
        stamp.referenceWidth =
            static_cast<std::int32_t>(arguments.number("refw", 1, INT32_MAX).value_or(kReferenceWidth));
        stamp.referenceHeight =
            static_cast<std::int32_t>(arguments.number("refh", 1, INT32_MAX).value_or(kReferenceHeight));
    }

    /** Adds a property that changes the stamp; if one of its attributes is refused, nothing is changed. */
    void addSet(const char* name, std::function<void(Arguments&, StampRecord&)> change) {
        properties().add<AttrSet>(name, nullptr,
                                  [this, name, change = std::move(change)](const AttrSet& set) {
                                      if (!isWithin("ShmIdx", index_, 0, count_ - 1)) return false;
                                      stream::TSharedMemory<StampTable> memory(1);
                                      if (!memory.ShmName(segment_.c_str())) return false;
                                      StampRecord& shown = memory.Record()->stamps[index_];
                                      StampRecord stamp = shown;
                                      Arguments arguments(name, set);
                                      change(arguments, stamp);
                                      if (arguments.areGood()) shown = stamp;
                                      return arguments.areGood();
                                  });
    }

    std::atomic<int> count_{kStamps};
    std::atomic<int> index_{0};
    std::string segment_ = kStampSegment;
};

const ClassRegistration<StampParam> stampParamRegistration("StampParam");

}  // namespace
}  // namespace kep::host
