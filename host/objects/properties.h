#ifndef KEP_HOST_PROPERTIES_H
#define KEP_HOST_PROPERTIES_H

#include <atomic>
#include <concepts>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <typeinfo>
#include <utility>
#include <vector>

#include "kep/attr_set.h"
#include "kep/param.h"
#include "kep/visibility.h"

namespace kep::host {

/** Result of an access to a property. */
enum class Access {
    done,
    unknown,   /**< there is no property of that name */
    wrongType, /**< it is of another type, or the text does not convert to its type */
    oneWay,    /**< it cannot be read, or cannot be written */
    refused    /**< its owner refused the value, and has said why */
};

/**
 * The named values of an object, each of one type. Integers of all widths and booleans have a text form and
 * convert to each other where a TypeCompatible allows it; std::string is text; any other type is passed as
 * is. Filled by the owner's constructor and constant afterwards; access is as thread-safe as the functions
 * given.
 */
class KEP_API Properties {
  public:
    template <class T>
    using Getter = std::function<T()>;
    /** False refuses the value. */
    template <class T>
    using Setter = std::function<bool(const T&)>;

    /** Adds a property that accepts every value of its type. `value` must outlive this. */
    template <class T>
    void add(std::string name, std::atomic<T>& value) {
        add<T>(
            std::move(name), [&value] { return value.load(); },
            [&value](T wanted) {
                value = wanted;
                return true;
            });
    }

    /** Adds a property; a null function disables that direction. */
    template <class T>
    void add(std::string name, Getter<T> get, Setter<T> set) {
        Property property;
        property.name = std::move(name);
        property.type = &typeid(T);
        if (get) property.get = [get](void* value) { *static_cast<T*>(value) = get(); };
        if (set) property.set = [set](const void* value) { return set(*static_cast<const T*>(value)); };
        if constexpr (std::integral<T>) {
            if (get) property.getInteger = [get] { return static_cast<std::int64_t>(get()); };
            if (set) {
                property.setInteger = [set](std::int64_t value) {
                    if (!std::in_range<Wide<T>>(value)) return Access::wrongType;
                    if (std::same_as<T, bool> && value != 0 && value != 1) return Access::wrongType;
                    return set(static_cast<T>(value)) ? Access::done : Access::refused;
                };
            }
        }
        properties_.push_back(std::move(property));
    }

    bool has(std::string_view name) const { return find(name) != nullptr; }

    /** Sets the property to the value at `value`, which is of type `type`. With a null `compatible` only the
     * declared type and text are accepted. */
    Access set(std::string_view name, const void* value, const std::type_info& type,
               base::TypeCompatible compatible) const;
    /** Reads the property into `value`, which points to a `type`. */
    Access get(std::string_view name, void* value, const std::type_info& type,
               base::TypeCompatible compatible) const;

    Access setText(std::string_view name, const char* text) const;
    /** The value as text; none when it cannot be read or has no text form. */
    std::optional<std::string> text(std::string_view name) const;

    /** Adds every property that has a text to `attributes`. */
    void toAttrSet(base::AttrSet& attributes) const;

  private:
    // std::in_range does not accept bool.
    template <class T>
    using Wide = std::conditional_t<std::same_as<T, bool>, unsigned char, T>;

    struct Property {
        std::string name;
        const std::type_info* type = nullptr;
        std::function<void(void*)> get;
        std::function<bool(const void*)> set;
        std::function<std::int64_t()> getInteger;
        std::function<Access(std::int64_t)> setInteger;
    };

    const Property* find(std::string_view name) const;
    static std::optional<std::string> textOf(const Property& property);

    std::vector<Property> properties_;
};

}  // namespace kep::host

#endif
