#ifndef KEP_HOST_CLASS_REGISTRY_H
#define KEP_HOST_CLASS_REGISTRY_H

#include <memory>
#include <string>

#include "kep/reflect.h"
#include "kep/visibility.h"
#include "objects/object_impl.h"

namespace kep::host {

/** What creating an object with a name gives. */
enum class Naming {
    scoped, /**< a new object: names distinguish the children of one parent */
    found,  /**< a Face of an object that others can look up by name, with `noconfigure=true` */
    kept    /**< as `found`; the object lives at least until its maker releases it or the process ends */
};

/** A registered class. The destructor unregisters it. A duplicate name is refused with an error line. */
class KEP_API ClassBase : public base::IClass {
  public:
    ClassBase(const ClassBase&) = delete;
    ClassBase& operator=(const ClassBase&) = delete;

    const std::string& name() const { return name_; }

    /**
     * Creates an object from a whole description. With `noconfigure=true` it ignores the other attributes.
     * Null when refused; an error line says why.
     */
    std::unique_ptr<ObjectImpl> make(base::AttrSet& attributes);

  protected:
    ClassBase(const char* name, Naming naming);
    ~ClassBase();

    virtual ObjectImpl* construct() = 0;

    object_base* create(base::AttrSet& attributes) final;
    bool initObject(object_base* made, base::AttrSet& attributes) final;
    bool initAttrSet(object_base* made, base::AttrSet& attributes) final;

  private:
    std::unique_ptr<ObjectImpl> constructNamed(const base::AttrSet& attributes);
    bool configure(ObjectImpl& object, base::AttrSet& attributes) const;

    const std::string name_;
    const Naming naming_;
};

/** Registers class T, derived from ObjectImpl. Define one static instance for each class. */
template <class T>
class ClassRegistration final : public ClassBase {
  public:
    explicit ClassRegistration(const char* name, Naming naming = Naming::scoped) : ClassBase(name, naming) {}

  private:
    ObjectImpl* construct() override { return new T; }
};

}  // namespace kep::host

#endif
