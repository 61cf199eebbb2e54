#ifndef VORNISA_TESTS_PROPERTIES_H
#define VORNISA_TESTS_PROPERTIES_H

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "kep/packet.h"
#include "objects.h"

namespace scripted {

using CodecFunction = bool (*)(kep::object_base* codec, const void* in, int& in_len, void* out, int& out_len);
using PacketFunction = std::function<bool(kep::stream::Packet*&)>;
using OpenFunction = std::function<bool(kep::base::object*, kep::stream::IMedia*&)>;

/**
 * An object with a name, children and typed properties. Its steps carry its name, and for properties the key,
 * as in "demux.SetWithType seek"; they show values with their exact type, and "integers" for a predicate that
 * accepts the integer types and nothing else.
 */
class PropertyObject : public PlainObject {
  public:
    explicit PropertyObject(const std::string& name);

    /** Adds a child that this object owns. */
    PropertyObject* add(const std::string& childName);

    bool Set(const char* key, void* value, const std::type_info* type) override;
    bool Get(const char* key, void* value, const std::type_info* type) const override;
    bool SetStr(const char* key, const char* value) override;
    bool SetWithType(const char* key, void* value, const std::type_info* type,
                     kep::base::TypeCompatible compatible) override;
    bool GetWithType(const char* key, void* value, const std::type_info* type,
                     kep::base::TypeCompatible compatible) const override;
    std::uint32_t NameId() const override;
    kep::base::object* FindChild(const std::function<bool(const kep::base::object&)>& matches,
                                 bool recursive) override;

    const std::string name;
    /** Values by key: set by the last Set, returned by Get. A property without a value cannot be read. */
    std::map<std::string, std::int64_t> integers;
    std::map<std::string, CodecFunction> codecFunctions;
    std::map<std::string, PacketFunction> packetFunctions;
    std::map<std::string, OpenFunction> openFunctions;

  private:
    bool stepOf(const char* operation, const char* key, const std::string& arguments) const;
    PropertyObject* find(const std::function<bool(const kep::base::object&)>& matches, bool recursive);

    std::vector<std::unique_ptr<PropertyObject>> children_;
};

}  // namespace scripted

#endif
