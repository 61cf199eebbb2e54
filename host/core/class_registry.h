#ifndef KEP_HOST_CLASS_REGISTRY_H
#define KEP_HOST_CLASS_REGISTRY_H

#include <string>

#include "core/object_impl.h"
#include "kep/reflect.h"
#include "kep/visibility.h"

namespace kep::host {

/** What a second description of the same class and name gives. */
enum class Naming {
    scoped, /**< another object: names tell the children of one parent apart */
    shared  /**< the object that there is, configured anew */
};

/** An object that a description gave. */
struct Made {
    ObjectImpl* object = nullptr;
    bool fresh = false; /**< it did not exist before */
};

/** A class of the registry, as long as it lives. A name that is taken already is refused with an error line.
 */
class KEP_API ClassBase : public base::IClass {
  public:
    ClassBase(const ClassBase&) = delete;
    ClassBase& operator=(const ClassBase&) = delete;

    const std::string& name() const { return name_; }
    Naming naming() const { return naming_; }

    /**
     * Makes an object from a whole description, or finds the one of that name. With `noconfigure=true` the
     * other attributes are not taken. Refused: no object, an error line from whoever refused, and a new
     * object is deleted again; an existing one stays.
     */
    Made make(base::AttrSet& attributes);

  protected:
    ClassBase(const char* name, Naming naming);
    ~ClassBase();

    virtual ObjectImpl* construct() = 0;

    object_base* create(base::AttrSet& attributes) final;
    bool initObject(object_base* made, base::AttrSet& attributes) final;
    bool initAttrSet(object_base* made, base::AttrSet& attributes) final;

  private:
    std::string key(const base::AttrSet& attributes) const;
    bool refuse(ObjectImpl* object, const base::AttrSet& attributes);

    const std::string name_;
    const Naming naming_;
};

/** Enters class T, an ObjectImpl, for as long as the registration lives: one with static storage per class.
 */
template <class T>
class ClassRegistration final : public ClassBase {
  public:
    explicit ClassRegistration(const char* name, Naming naming = Naming::scoped) : ClassBase(name, naming) {}

  private:
    ObjectImpl* construct() override { return new T; }
};

}  // namespace kep::host

#endif
