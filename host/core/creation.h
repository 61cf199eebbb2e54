#ifndef KEP_HOST_CREATION_H
#define KEP_HOST_CREATION_H

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "core/class_registry.h"
#include "kep/visibility.h"

namespace kep::host {

/**
 * The text that the calling thread makes objects from, while it does. Scopes nest as descriptions do, so that
 * an error inside can be told by its place in the whole text.
 */
class KEP_API CreationScope {
  public:
    explicit CreationScope(std::string_view text);
    /** For a part of the text of `outer`, the calling thread's innermost scope. */
    CreationScope(const CreationScope& outer, std::size_t offset, std::size_t length);
    CreationScope(const CreationScope&) = delete;
    CreationScope& operator=(const CreationScope&) = delete;
    ~CreationScope();

    /** ` at position N of "..."` for a place in `text`, counted from 1 in the whole text that `text` stands
     * in. */
    static std::string place(std::string_view text, std::size_t offset);
    /** The same for the class name of the text at hand; empty outside of any scope. */
    static std::string placeOfType();

  private:
    const std::string_view text_;
    const CreationScope* const outer_;
    const CreationScope* root_; /**< the whole text; itself when it is not part of another one */
    std::size_t offset_ = 0;    /**< in the root's text */
};

/** Told at the beginning of each making of an object. */
using CreationHook = void (*)();

/** Replaces the hook; null takes it away. */
KEP_API void setCreationHook(CreationHook hook);

/** Makes an object for a parent, or for one who keeps it; none, and an error line, when it is refused. */
KEP_API std::unique_ptr<ObjectImpl> makeObject(const char* text);
KEP_API std::unique_ptr<ObjectImpl> makeObject(base::AttrSet& attributes);

/** What an application gets for a description: an object, or its Face where others may find it by name. */
KEP_API object_base* createObject(const char* text);
KEP_API object_base* createObject(base::AttrSet& attributes);

/** Objects made for a parent. Those that have found no parent are deleted with the list. */
class KEP_API Offspring {
  public:
    Offspring() = default;
    Offspring(const Offspring&) = delete;
    Offspring& operator=(const Offspring&) = delete;
    ~Offspring();

    /**
     * Makes what a layout describes: the elements of a chain, or the one object of a description. False, and
     * an error line, when any part is refused.
     */
    bool make(const char* layout);

    /** In the order of the layout. */
    const std::vector<ObjectImpl*>& objects() const { return made_; }

  private:
    bool take(std::unique_ptr<ObjectImpl> made);

    std::vector<ObjectImpl*> made_;
};

}  // namespace kep::host

#endif
