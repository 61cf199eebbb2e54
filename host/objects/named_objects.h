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
 * Owns the objects that can be found by name; of several with one name the newest is found. An object lives
 * until its last finder releases it. One that nobody has found lives until its maker releases it, or until
 * the process ends if the maker never does.
 */
class NamedObjects {
  public:
    using Construct = std::function<std::unique_ptr<ObjectImpl>()>;

    static NamedObjects& instance();

    /** The newest object of `key`, or a new unconfigured one; null if construction fails. */
    std::shared_ptr<ObjectImpl> find(const std::string& key, const Construct& construct);
    /** Called when a finder releases the object. */
    void leave(const ObjectImpl* object);

    /**
     * Begins the configuration of an object: one that find() constructed and nobody has configured, or a new
     * one, which cannot be found before settle(). Null if construction fails.
     *
     * @param isKeptByMaker the object lives at least until its maker releases it
     */
    std::shared_ptr<ObjectImpl> begin(const std::string& key, const Construct& construct,
                                      bool isKeptByMaker = false);
    /** Ends the configuration. A configured object becomes the newest; one that failed is removed unless it
     * has finders. */
    void settle(const ObjectImpl* object, bool configured);
    /** Called when the maker releases the object. */
    void abandon(const ObjectImpl* object);

  private:
    struct Entry {
        std::string key;
        std::shared_ptr<ObjectImpl> object;
        int finders = 0;
        bool isMade = false;      /**< it has been configured, or is being configured */
        bool isBeingMade = false; /**< from begin() to settle(): kept even if all finders leave */
        bool isKeptByMaker = false;
        bool isFindable = false; /**< configured, or constructed by find() */
    };
    using Entries = std::list<Entry>;

    Entries::iterator entryOf(const ObjectImpl* object) REQUIRES(mutex_);
    void takeIfUnused(const ObjectImpl* object, Entries& unused) REQUIRES(mutex_);

    Mutex mutex_;
    Entries entries_ GUARDED_BY(mutex_); /**< the newest last */
};

}  // namespace kep::host

#endif
