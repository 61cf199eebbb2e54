#ifndef KEP_HOST_CREATION_H
#define KEP_HOST_CREATION_H

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "kep/visibility.h"
#include "objects/class_registry.h"
#include "text/description.h"

namespace kep::host {

/**
 * Sets the description from which the calling thread creates objects. Scopes nest as descriptions do. An
 * object is configured from a plain attribute set; the scope gives the positions of its attributes in the
 * text, for error lines.
 */
class KEP_API CreationScope {
  public:
    explicit CreationScope(Description& description);
    CreationScope(const CreationScope&) = delete;
    CreationScope& operator=(const CreationScope&) = delete;
    ~CreationScope();

    /** Null outside of any scope. */
    static Description* current();

    /** Marks an attribute of the current description as being read: errors in its text get its position. */
    class KEP_API Reading {
      public:
        explicit Reading(const char* key);
        Reading(const Reading&) = delete;
        Reading& operator=(const Reading&) = delete;
        ~Reading();

      private:
        const char* const outer_;
    };

  private:
    Description* const outer_;
    const Reading none_; /**< inside a new scope no attribute is being read yet */
};

/** The description in an attribute of the object being configured. Valid as long as the attribute. */
class KEP_API NestedDescription {
  public:
    NestedDescription(const base::AttrSet& attributes, const char* key);

    explicit operator bool() const { return found_ || own_; }
    Description& operator*() { return found_ ? *found_ : *own_; }
    Description* operator->() { return &**this; }

  private:
    Description* found_ = nullptr;   /**< a part of the current description */
    std::optional<Description> own_; /**< for an attribute that is not part of it */
};

/** Parses a description as `key=value` items. False, and an error line with the place, when it does not
 * parse. */
KEP_API bool readItems(Description& description);

/** Creates an object for its parent or owner. Null, and an error line, when it is refused. */
KEP_API std::unique_ptr<ObjectImpl> makeObject(const char* text);
KEP_API std::unique_ptr<ObjectImpl> makeObject(base::AttrSet& attributes);

/** Creates an object for an application: the object itself, or its Face if others can find it by name. */
KEP_API object_base* createObject(const char* text);
KEP_API object_base* createObject(base::AttrSet& attributes);

/** Objects created for a parent. The destructor deletes those that still have no parent. */
class KEP_API PendingChildren {
  public:
    PendingChildren() = default;
    PendingChildren(const PendingChildren&) = delete;
    PendingChildren& operator=(const PendingChildren&) = delete;
    ~PendingChildren();

    /**
     * Creates what a layout describes: the elements of a chain, or the object of a description. False, and
     * an error line, when any part is refused.
     */
    bool make(Description& layout);

    /** In the order of the layout. */
    const std::vector<ObjectImpl*>& objects() const { return made_; }

  private:
    bool take(std::unique_ptr<ObjectImpl> made);

    std::vector<ObjectImpl*> made_;
};

}  // namespace kep::host

#endif
