#ifndef VORNISA_TESTS_TWIN_OBJECTS_H
#define VORNISA_TESTS_TWIN_OBJECTS_H

#include <memory>
#include <string>
#include <vector>

#include "framework.h"

namespace twin {

/** An object made from a description, with a child for each of its elements demux, vsink and asink. */
class Thing : public kep::base::object, public kep::stream::IStatus, public kep::base::IMessageProcesser {
  public:
    explicit Thing(const std::string& description);
    ~Thing() override;

    const std::string& description() const { return description_; }
    /** Attributes of the object itself. */
    kep::base::AttrSet attributes;

    void toString(std::string& text) const override;
    bool fromString(const char* text) override;

    bool Set(const char* key, void* value, const std::type_info* type) override;
    bool Get(const char* key, void* out, const std::type_info* type) const override;
    bool SetStr(const char* key, const char* value) override;
    bool SetWithType(const char* key, void* value, const std::type_info* type,
                     kep::base::TypeCheck check) override;
    bool GetWithType(const char* key, void* out, const std::type_info* type,
                     kep::base::TypeCheck check) const override;

    bool Enable(bool) override { return unexpected("Enable"); }
    bool Configure(kep::base::AttrSet&) override { return unexpected("Configure"); }
    bool addChild(object*) override { return unexpected("addChild"); }
    bool fromAttrSet(kep::base::AttrSet&) override { return unexpected("fromAttrSet"); }
    bool toAttrSet(kep::base::AttrSet&) const override { return unexpected("toAttrSet"); }
    bool sendMessage(kep::base::Message&) override { return unexpected("sendMessage"); }
    bool receiveMessage(kep::base::Message&) override { return unexpected("receiveMessage"); }
    std::uint32_t NameId() const override { return nameId_; }
    object* FindChild(const std::function<bool(const object&)>& matches, bool recursive) override;

    bool StatusIsPlay() const override;
    bool RegisterMessageProcessCallback(const std::function<bool(kep::base::Message&)>& callback) override;

  private:
    /** For operations that the plug-in never uses: a call means that it has called a wrong slot. */
    bool unexpected(const std::string& operation) const;
    std::string named(const std::string& operation) const;

    const std::string description_;
    std::string name_; /**< empty for an object that is not a child */
    std::uint32_t nameId_ = 0;
    std::vector<std::unique_ptr<Thing>> children_;
};

}  // namespace twin

#endif
