#ifndef VORNISA_TESTS_SCRIPT_H
#define VORNISA_TESTS_SCRIPT_H

#include <memory>
#include <string>
#include <vector>

#include "kep/object_base.h"

namespace scripted {

/**
 * Controls the scripted double of the framework and records its events: every call of the framework and every
 * log line, in one sequence. Tests compare the whole sequence, so that no unexpected call goes unnoticed.
 */
class Script {
  public:
    /** The singleton; created on first use, as the plug-in registers itself before main. */
    static Script& instance();

    /** Grants every step again and discards the events. */
    void reset();

    /** From now on the step of that name returns null or false. */
    void refuse(const std::string& step);
    /** From now on the step of that name throws std::bad_alloc. */
    void throwAt(const std::string& step);
    /** From now on the step of that name throws an int. */
    void throwIntAt(const std::string& step);

    /** Sets the object that the next creation of any kind returns. */
    void offer(kep::object_base* object);
    /** Returns the offered object, and no longer offers it; null when there is none. */
    kep::object_base* takeOffer();

    /** Records a call; false when it is to be refused. */
    bool step(const std::string& name, const std::string& arguments);
    /** Records something that cannot be refused. */
    void note(const std::string& event);

    /** The events since the last call; log lines have the form of line(). */
    std::vector<std::string> takeEvents();

    /** The number of framework objects that exist. */
    int liveObjects() const;
    void objectMade();
    void objectGone();

    Script(const Script&) = delete;
    Script& operator=(const Script&) = delete;

  private:
    Script();
    struct Data;
    std::unique_ptr<Data> data_;
};

/** The callback that the plug-in has passed to ReflectAdd. */
using PlugInCallback = void (*)(const char* text);
PlugInCallback registeredCallback();

/** Shorthand for the objects of the double. */
bool step(const std::string& name, const std::string& arguments = "");

}  // namespace scripted

#endif
