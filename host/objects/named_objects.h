#ifndef KEP_HOST_NAMED_OBJECTS_H
#define KEP_HOST_NAMED_OBJECTS_H

#include <functional>
#include <list>
#include <memory>
#include <string>

#include "objects/mutex.h"

namespace kep::host {

class ObjectImpl;

/**
 * Owns the objects that are found by a name. Several may have one name; the newest is found. An object lives
 * until its last finder releases it, or until its maker does where nobody has found it. An object that its
 * maker does not delete lives until a finder has released it or the process ends, or until the process ends
 * where only the maker ends it.
 */
class NamedObjects {
  public:
    using Construct = std::function<std::unique_ptr<ObjectImpl>()>;

    static NamedObjects& instance();

    /** The newest object of `key`, or a new one that is not configured; null when none is constructed. */
    std::shared_ptr<ObjectImpl> find(const std::string& key, const Construct& construct);
    /** A finder releases the object. */
    void leave(const ObjectImpl* object);

    /**
     * An object to be configured: one that was found by its name but never made, or a new one, which nobody
     * finds yet. Null when none is constructed.
     *
     * @param isMakersToEnd it lives at least until its maker releases it
     */
    std::shared_ptr<ObjectImpl> begin(const std::string& key, const Construct& construct,
                                      bool isMakersToEnd = false);
    /** Ends the creation. A configured object becomes the newest; another one is removed if it was new. */
    void settle(const ObjectImpl* object, bool configured);
    /** The maker releases the object. */
    void abandon(const ObjectImpl* object);

  private:
    struct Entry {
        std::string key;
        std::shared_ptr<ObjectImpl> object;
        int finders = 0;
        bool isMade = false;      /**< it has been configured, or is being configured */
        bool isBeingMade = false; /**< from begin() to settle(), which keeps it although all finders leave */
        bool isMakersToEnd = false;
        bool isFindable = false; /**< its making has ended, or it was found before */
    };
    using Entries = std::list<Entry>;

    Entries::iterator entryOf(const ObjectImpl* object) REQUIRES(mutex_);
    void takeIfUnused(const ObjectImpl* object, Entries& unused) REQUIRES(mutex_);

    Mutex mutex_;
    Entries entries_ GUARDED_BY(mutex_); /**< the newest last */
};

}  // namespace kep::host

#endif
