#ifndef KEP_HOST_NAMED_OBJECTS_H
#define KEP_HOST_NAMED_OBJECTS_H

#include <condition_variable>
#include <map>
#include <mutex>
#include <string>
#include <thread>

namespace kep::host {

class ObjectImpl;

/** The objects that exist once per name, and the names that are being made. */
class NamedObjects {
  public:
    static NamedObjects& instance();

    /**
     * Reserves `key` for the calling thread; waits while another thread makes or changes the object of that
     * key. False when the calling thread itself is at it: a description then contains itself.
     *
     * @param[out] object the living object of that key, or null
     */
    bool reserve(const std::string& key, ObjectImpl*& object);

    /** Ends a reservation; from now on `object`, unless null, is found under the key. */
    void settle(const std::string& key, ObjectImpl* object);

    void remove(const ObjectImpl* object);

    /** The class of a living object of that name, empty when there is none. */
    std::string classOf(const std::string& name);

  private:
    struct Entry {
        ObjectImpl* object = nullptr;
        std::thread::id maker;
    };

    std::mutex mutex_;
    std::condition_variable settled_;
    std::map<std::string, Entry> entries_;
};

}  // namespace kep::host

#endif
