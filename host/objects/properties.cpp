#include "objects/properties.h"

#include <limits>

#include "text/convert.h"

namespace kep::host {
namespace {

template <class T>
bool readAs(const std::type_info& type, const void* value, std::int64_t& integer) {
    if (type != typeid(T)) return false;
    const T& typed = *static_cast<const T*>(value);
    if constexpr (!std::same_as<T, bool>) {
        if (!std::in_range<std::int64_t>(typed)) return false;
    }
    integer = static_cast<std::int64_t>(typed);
    return true;
}

template <class T>
bool writeAs(const std::type_info& type, void* value, std::int64_t integer) {
    if (type != typeid(T)) return false;
    if constexpr (std::same_as<T, bool>) {
        *static_cast<bool*>(value) = integer != 0;
    } else {
        if (!std::in_range<T>(integer)) return false;
        *static_cast<T*>(value) = static_cast<T>(integer);
    }
    return true;
}

bool readInteger(const std::type_info& type, const void* value, std::int64_t& integer) {
    const auto any = [&]<class... T>() { return (readAs<T>(type, value, integer) || ...); };
    return any.template operator()<bool, short, unsigned short, int, unsigned, long, unsigned long, long long,
                                   unsigned long long>();
}

bool writeInteger(const std::type_info& type, void* value, std::int64_t integer) {
    const auto any = [&]<class... T>() { return (writeAs<T>(type, value, integer) || ...); };
    return any.template operator()<bool, short, unsigned short, int, unsigned, long, unsigned long, long long,
                                   unsigned long long>();
}

}  // namespace

const Properties::Property* Properties::find(std::string_view name) const {
    for (const Property& property : properties_) {
        if (property.name == name) return &property;
    }
    return nullptr;
}

Access Properties::set(std::string_view name, const void* value, const std::type_info& type,
                       base::TypeCompatible compatible) const {
    const Property* property = find(name);
    if (!property) return Access::unknown;
    if (!property->set) return Access::oneWay;
    if (*property->type == type) return property->set(value) ? Access::done : Access::refused;
    if (type == typeid(const char*)) return setText(name, *static_cast<const char* const*>(value));
    if (type == typeid(std::string)) return setText(name, static_cast<const std::string*>(value)->c_str());
    std::int64_t integer = 0;
    if (!property->setInteger || !compatible || !compatible(*property->type) ||
        !readInteger(type, value, integer))
        return Access::wrongType;
    return property->setInteger(integer);
}

Access Properties::get(std::string_view name, void* value, const std::type_info& type,
                       base::TypeCompatible compatible) const {
    const Property* property = find(name);
    if (!property) return Access::unknown;
    if (!property->get) return Access::oneWay;
    if (*property->type == type) {
        property->get(value);
        return Access::done;
    }
    if (type == typeid(std::string)) {
        std::optional<std::string> text = textOf(*property);
        if (!text) return Access::wrongType;
        *static_cast<std::string*>(value) = std::move(*text);
        return Access::done;
    }
    if (!property->getInteger || !compatible || !compatible(*property->type)) return Access::wrongType;
    return writeInteger(type, value, property->getInteger()) ? Access::done : Access::wrongType;
}

Access Properties::setText(std::string_view name, const char* text) const {
    const Property* property = find(name);
    if (!property) return Access::unknown;
    if (!property->set) return Access::oneWay;
    if (!text) return Access::wrongType;
    if (*property->type == typeid(std::string)) {
        const std::string value = text;
        return property->set(&value) ? Access::done : Access::refused;
    }
    if (!property->setInteger) return Access::wrongType;
    std::int64_t integer = 0;
    if (*property->type == typeid(bool)) {
        bool value = false;
        if (!convert(text, value)) return Access::wrongType;
        integer = value;
    } else if (!convert(text, integer)) {
        return Access::wrongType;
    }
    return property->setInteger(integer);
}

std::optional<std::string> Properties::textOf(const Property& property) {
    if (!property.get) return std::nullopt;
    if (*property.type == typeid(std::string)) {
        std::string value;
        property.get(&value);
        return value;
    }
    if (!property.getInteger) return std::nullopt;
    const std::int64_t integer = property.getInteger();
    return *property.type == typeid(bool) ? base::ToString(integer != 0) : base::ToString(integer);
}

std::optional<std::string> Properties::text(std::string_view name) const {
    const Property* property = find(name);
    return property ? textOf(*property) : std::nullopt;
}

void Properties::toAttrSet(base::AttrSet& attributes) const {
    for (const Property& property : properties_) {
        if (const auto value = textOf(property)) attributes.Add(property.name.c_str(), value->c_str());
    }
}

}  // namespace kep::host
