#include "properties.h"

#include "kep/hash.h"

namespace scripted {
namespace {

std::string typeName(const std::type_info* type) {
    if (!type) return "no type";
    if (*type == typeid(std::int64_t)) return "int64";
    if (*type == typeid(bool)) return "bool";
    if (*type == typeid(CodecFunction)) return "codec function";
    if (*type == typeid(PacketFunction)) return "packet function";
    if (*type == typeid(OpenFunction)) return "open function";
    return type->name();
}

template <class... Types>
bool accepts(kep::base::TypeCompatible compatible) {
    return (compatible(typeid(Types)) && ...);
}

template <class... Types>
bool acceptsAny(kep::base::TypeCompatible compatible) {
    return (compatible(typeid(Types)) || ...);
}

std::string predicateName(kep::base::TypeCompatible compatible) {
    if (!compatible) return "no predicate";
    const bool integers = accepts<char, short, int, long, long long, unsigned char, unsigned short, unsigned,
                                  unsigned long, unsigned long long>(compatible);
    const bool others =
        acceptsAny<bool, signed char, wchar_t, char16_t, char32_t, float, double, long double, char*,
                   const char*, int*, std::string, CodecFunction, PacketFunction>(compatible);
    return integers && !others ? "integers" : "another predicate";
}

}  // namespace

PropertyObject::PropertyObject(const std::string& ownName) : name(ownName) {}

PropertyObject* PropertyObject::add(const std::string& childName) {
    children_.push_back(std::make_unique<PropertyObject>(childName));
    return children_.back().get();
}

bool PropertyObject::stepOf(const char* operation, const char* key, const std::string& arguments) const {
    return step(name + "." + operation + " " + key, arguments);
}

bool PropertyObject::Set(const char* key, void* value, const std::type_info* type) {
    const bool isBool = type && *type == typeid(bool);
    // Read as a byte, to show values other than 0 and 1, which a bool must not have.
    const std::string shown = isBool ? " " + std::to_string(*static_cast<unsigned char*>(value)) : "";
    if (!stepOf("Set", key, typeName(type) + shown)) return false;
    if (*type == typeid(PacketFunction)) packetFunctions[key] = *static_cast<PacketFunction*>(value);
    if (*type == typeid(OpenFunction)) openFunctions[key] = *static_cast<OpenFunction*>(value);
    return true;
}

bool PropertyObject::Get(const char* key, void* value, const std::type_info* type) const {
    if (!stepOf("Get", key, typeName(type))) return false;
    const auto found = codecFunctions.find(key);
    if (found == codecFunctions.end() || *type != typeid(CodecFunction)) return false;
    *static_cast<CodecFunction*>(value) = found->second;
    return true;
}

bool PropertyObject::SetStr(const char* key, const char* value) {
    return stepOf("SetStr", key, value ? value : "nullptr");
}

bool PropertyObject::SetWithType(const char* key, void* value, const std::type_info* type,
                                 kep::base::TypeCompatible compatible) {
    const bool isInteger = type && *type == typeid(std::int64_t);
    const std::int64_t integer = isInteger ? *static_cast<std::int64_t*>(value) : 0;
    const std::string shown = isInteger ? " " + std::to_string(integer) : "";
    if (!stepOf("SetWithType", key, typeName(type) + shown + "," + predicateName(compatible))) return false;
    integers[key] = integer;
    return true;
}

bool PropertyObject::GetWithType(const char* key, void* value, const std::type_info* type,
                                 kep::base::TypeCompatible compatible) const {
    const bool granted = stepOf("GetWithType", key, typeName(type) + "," + predicateName(compatible));
    const auto found = integers.find(key);
    if (found == integers.end() || *type != typeid(std::int64_t)) return false;
    // Written even when refused: the caller must ignore it then.
    *static_cast<std::int64_t*>(value) = found->second;
    return granted;
}

std::uint32_t PropertyObject::NameId() const {
    return kep::Hash(name.c_str());
}

kep::base::object* PropertyObject::FindChild(const std::function<bool(const kep::base::object&)>& matches,
                                             bool recursive) {
    PropertyObject* const found = find(matches, recursive);
    const std::string kind = recursive ? "recursive" : "direct";
    return step(name + ".FindChild", kind + "," + (found ? found->name : "none")) ? found : nullptr;
}

PropertyObject* PropertyObject::find(const std::function<bool(const kep::base::object&)>& matches,
                                     bool recursive) {
    for (const auto& child : children_) {
        if (matches(*child)) return child.get();
        if (PropertyObject* const below = recursive ? child->find(matches, true) : nullptr) return below;
    }
    return nullptr;
}

}  // namespace scripted
