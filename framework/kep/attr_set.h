#ifndef KEP_ATTR_SET_H
#define KEP_ATTR_SET_H

#include <cstdint>
#include <string>

#include "kep/ostream.h"
#include "kep/reserve.h"
#include "kep/visibility.h"

namespace kep {
namespace base {

/** Decimal text of an integer, "true" or "false" of a boolean. */
template <class T>
inline std::string ToString(const T& value) {
    std::string text;
    ostream_string(text) << static_cast<std::int64_t>(value);
    return text;
}

template <>
inline std::string ToString<int>(const int& value) {
    std::string text;
    ostream_string(text) << value;
    return text;
}

template <>
inline std::string ToString<bool>(const bool& value) {
    return value ? "true" : "false";
}

/** Converts text to a value; on false `value` is unchanged. */
KEP_API bool ConvertToImpl(const char* text, int& value);
KEP_API bool ConvertToImpl(const char* text, std::int64_t& value);
KEP_API bool ConvertToImpl(const char* text, bool& value);

/**
 * An ordered set of key and value texts: `key=value` items separated by ",". A value in braces is itself a
 * description, a list or a chain of elements joined by "+"; it is stored without its braces.
 */
class KEP_API AttrSet {
  public:
    AttrSet();
    explicit AttrSet(const char* text);
    AttrSet(const AttrSet& other);
    AttrSet& operator=(const AttrSet& other);
    ~AttrSet();

    /** Replaces the contents by those of `text`. False on a syntax error or a null text: the set is then
     * empty. */
    bool Parse(const char* text);

    /** Sets `key` to `value`; a new key is appended, an existing one keeps its place. */
    bool Add(const char* key, const char* value);

    template <class T>
    bool Add(const char* key, const T& value) {
        return Add(key, base::ToString<T>(value).c_str());
    }

    /** The value of `key`, null when absent. Valid until the set changes. */
    const char* Get(const char* key) const;
    const char* GetOrDef(const char* key, const char* fallback) const;

    /** The value of `key` converted; `fallback` when it is absent or does not convert. */
    template <class T>
    T GetOrDef(const char* key, const T& fallback) const {
        T value = fallback;
        const char* text = Get(key);
        if (text) ConvertToImpl(text, value);
        return value;
    }

    /** Key and value by position, null past the end. */
    const char* Key(int index) const;
    const char* Value(int index) const;

    /** The set as text that parses back to it; `braced` puts it into braces, as a value of another set. */
    std::string ToString(bool braced) const;

  private:
    class Items;
    Items* items_;
    __attribute__((unused)) unsigned char reserve_[kAttrSetReserve];
};

}  // namespace base
}  // namespace kep

#endif
