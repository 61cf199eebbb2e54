#ifndef VORNISA_TESTS_SCRIPT_H
#define VORNISA_TESTS_SCRIPT_H

#include <memory>
#include <string>
#include <vector>

#include "kep/object_base.h"

namespace scripted {

/**
 * What the scripted double of the framework is told to do, and what has happened: every call of the framework
 * and every log line, in one sequence. A test compares all of it, so that nothing else can have been called.
 */
class Script {
  public:
    /** The one of the process; made on first use, as the plug-in registers itself before main. */
    static Script& instance();

    /** Back to a framework that grants everything; forgets what has happened. */
    void reset();

    /** From now on the step of that name answers with null or false. */
    void refuse(const std::string& step);
    /** From now on the step of that name throws std::bad_alloc. */
    void throwAt(const std::string& step);
    /** From now on the step of that name throws an int. */
    void throwOddlyAt(const std::string& step);

    /** The object that the next creation of any kind gives out. */
    void offer(kep::object_base* object);
    /** Gives the offered object away; null when there is none. */
    kep::object_base* takeOffer();

    /** Records a call; false when it is to be refused. */
    bool step(const std::string& name, const std::string& arguments);
    /** Records something that cannot be refused. */
    void note(const std::string& event);

    /** What has happened since the last call, log lines as line() gives them. */
    std::vector<std::string> takeEvents();

    /** Framework objects that exist. */
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

/** The callback that the plug-in has handed to ReflectAdd. */
using PlugInCallback = void (*)(const char* text);
PlugInCallback registeredCallback();

/** Shorthand for the objects of the double. */
bool step(const std::string& name, const std::string& arguments = "");

}  // namespace scripted

#endif
