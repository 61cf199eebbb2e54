#include "objects.h"

#include <cstring>
#include <regex>

#include "state.h"

namespace twin {
namespace {

/** The 32-bit FNV-1a hash of a name in lower case. */
std::uint32_t hashOf(const std::string& name) {
    std::uint32_t hash = 2166136261u;
    for (const char character : name) {
        hash ^= static_cast<unsigned char>(character >= 'A' && character <= 'Z' ? character + 32 : character);
        hash *= 16777619u;
    }
    return hash;
}

/** "integers" for a check that accepts the integer types and no other. */
std::string kindOf(kep::base::TypeCheck check) {
    for (const auto* type : {&typeid(char), &typeid(short), &typeid(int), &typeid(long), &typeid(long long),
                             &typeid(unsigned char), &typeid(unsigned short), &typeid(unsigned),
                             &typeid(unsigned long), &typeid(unsigned long long)})
        if (!check(*type)) return std::string("not ") + type->name();
    for (const auto* type : {&typeid(bool), &typeid(float), &typeid(double), &typeid(std::string),
                             &typeid(const char*), &typeid(void*)})
        if (check(*type)) return std::string("also ") + type->name();
    return "integers";
}

const char* const elements[] = {"demux", "vsink", "asink"};

}  // namespace

Thing::Thing(const std::string& description) : description_(description) {
    for (const std::string name : elements)
        if (description.find(":name=" + name) != std::string::npos) {
            children_.push_back(std::make_unique<Thing>(""));
            children_.back()->name_ = name;
            children_.back()->nameId_ = hashOf(name);
        }
    objectCreated(this);
}

Thing::~Thing() {
    objectDestroyed(this);
    if (name_.empty()) note("~Thing");
}

std::string Thing::named(const std::string& operation) const {
    return name_.empty() ? operation : name_ + "." + operation;
}

bool Thing::unexpected(const std::string& operation) const {
    note(named(operation) + " was called by a wrong slot");
    return false;
}

void Thing::toString(std::string& text) const {
    note(named("toString()"));
    text = attributes.ToString(false);
}

bool Thing::fromString(const char* text) {
    return granted(named("fromString"), text ? text : "null");
}

bool Thing::Set(const char* key, void* value, const std::type_info* type) {
    std::string shown = std::string("of type ") + type->name();
    if (*type == typeid(bool)) shown = *static_cast<bool*>(value) ? "true" : "false";
    if (*type == typeid(kep::base::AttrSet)) shown = static_cast<kep::base::AttrSet*>(value)->ToString(true);
    if (*type == typeid(PacketFunction)) {
        state().packetFunctions[named(key)] = *static_cast<PacketFunction*>(value);
        shown = "packets";
    }
    if (*type == typeid(OpenFunction)) {
        state().openFunctions[named(key)] = *static_cast<OpenFunction*>(value);
        shown = "media";
    }
    return granted(named("Set ") + key, shown);
}

bool Thing::Get(const char* key, void* out, const std::type_info* type) const {
    if (!granted(named("Get ") + key, *type == typeid(CodecFunction) ? "codec function" : type->name()))
        return false;
    *static_cast<CodecFunction*>(out) = state().codec;
    return true;
}

bool Thing::SetStr(const char* key, const char* value) {
    return granted(named("SetStr ") + key, value);
}

bool Thing::SetWithType(const char* key, void* value, const std::type_info* type,
                        kep::base::TypeCheck check) {
    const std::string shown = *type == typeid(std::int64_t)
                                  ? std::to_string(*static_cast<std::int64_t*>(value))
                                  : std::string("of type ") + type->name();
    return granted(named("SetWithType ") + key, shown + "," + kindOf(check));
}

bool Thing::GetWithType(const char* key, void* out, const std::type_info* type,
                        kep::base::TypeCheck check) const {
    if (!granted(
            named("GetWithType ") + key,
            (*type == typeid(std::int64_t) ? "64 bits," : std::string(type->name()) + ",") + kindOf(check)))
        return false;
    *static_cast<std::int64_t*>(out) = std::stoll(state().texts[key]);
    return true;
}

kep::base::object* Thing::FindChild(const std::function<bool(const object&)>& matches, bool recursive) {
    if (!granted("FindChild", recursive ? "true" : "false")) return nullptr;
    for (const auto& child : children_)
        if (matches(*child)) return child.get();
    return nullptr;
}

bool Thing::StatusIsPlay() const {
    note("StatusIsPlay()");
    return state().playing;
}

bool Thing::RegisterMessageProcessCallback(const std::function<bool(kep::base::Message&)>& callback) {
    state().onMessage = callback;
    return granted("RegisterMessageProcessCallback");
}

}  // namespace twin
