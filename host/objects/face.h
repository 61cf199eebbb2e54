#ifndef KEP_HOST_FACE_H
#define KEP_HOST_FACE_H

#include <memory>

#include "objects/message_port.h"
#include "objects/object_impl.h"

namespace kep::host {

/**
 * A handle to an object that others can find by name: forwards calls to the object and has its own message
 * callback. NamedObjects owns the object; calls fail once it has been deleted. A running call keeps it alive.
 */
class KEP_API Face final : public base::object, public base::IMessageProcesser, public stream::IStatus {
  public:
    /** A finder keeps the object alive; a maker only until the object is found. */
    enum class Role { maker, finder };

    Face(const std::shared_ptr<ObjectImpl>& object, Role role);
    Face(const Face&) = delete;
    Face& operator=(const Face&) = delete;
    /** Ends the callback first, with the guarantees of MessagePort. */
    ~Face() override;

    /** Null once it has been deleted. */
    std::shared_ptr<ObjectImpl> object() const { return object_.lock(); }
    Role role() const { return role_; }

    void toString(std::string& text) const override;
    bool fromString(const char* text) override;

    bool Set(const char* key, void* value, const std::type_info* type) override;
    bool Get(const char* key, void* value, const std::type_info* type) const override;
    bool SetStr(const char* key, const char* value) override;
    bool SetWithType(const char* key, void* value, const std::type_info* type,
                     base::TypeCompatible compatible) override;
    bool GetWithType(const char* key, void* value, const std::type_info* type,
                     base::TypeCompatible compatible) const override;

    bool Enable(bool enable) override;
    bool Configure(base::AttrSet& attributes) override;
    bool addChild(base::object* child) override;
    bool fromAttrSet(base::AttrSet& attributes) override;
    bool toAttrSet(base::AttrSet& attributes) const override;
    bool sendMessage(base::Message& message) override;
    bool receiveMessage(base::Message& message) override;
    std::uint32_t NameId() const override;
    base::object* FindChild(const std::function<bool(const base::object&)>& matches, bool recursive) override;

    bool RegisterMessageProcessCallback(const std::function<bool(base::Message&)>& callback) override;
    bool StatusIsPlay() const override;

  private:
    const std::weak_ptr<ObjectImpl> object_;
    const Role role_;
    MessagePort port_;
};

}  // namespace kep::host

#endif
