#ifndef VNCAM_RESOURCE_H
#define VNCAM_RESOURCE_H

#include <string>

#include "vornisa_api.h"

namespace vncam {

/** A result code in words, with its name and number. */
std::string resultText(int result);

/** Throws Failure with the call and its result unless the result is success. */
void check(int result, const std::string& call);

/** An acquired resource; stopped and released at the end of its scope. */
class Resource {
  public:
    /** Throws Failure when the resource is refused. */
    explicit Resource(VNRes_Type type);
    ~Resource();
    Resource(const Resource&) = delete;
    Resource& operator=(const Resource&) = delete;

    int id() const { return id_; }
    void start() const;
    void stop() const;

  private:
    int id_ = 0;
};

}  // namespace vncam

#endif
