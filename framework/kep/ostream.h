#ifndef KEP_OSTREAM_H
#define KEP_OSTREAM_H

#include <cstdint>
#include <string>

#include "kep/reserve.h"
#include "kep/visibility.h"

namespace kep {
namespace base {

/** Text sink of the framework. Every insertion returns the stream itself. */
class KEP_API ostream {
  public:
    virtual ostream& operator<<(char character) = 0;
    virtual ostream& operator<<(int value) = 0;
    virtual ostream& operator<<(std::int64_t value) = 0;
    virtual ostream& operator<<(void* pointer) = 0;
    virtual ostream& operator<<(const char* text) = 0;

  protected:
    ~ostream() = default;
};

/** A stream that appends to a string, which must outlive it. */
class KEP_API ostream_string final : public ostream {
  public:
    explicit ostream_string(std::string& target);

    ostream& operator<<(char character) override;
    ostream& operator<<(int value) override;
    ostream& operator<<(std::int64_t value) override;
    ostream& operator<<(void* pointer) override;
    ostream& operator<<(const char* text) override;

  private:
    std::string& target_;
    __attribute__((unused)) unsigned char reserve_[kOstreamStringReserve];
};

}  // namespace base

namespace stream {

/** The framework's debug streams by index; none is null. 8 takes error lines. */
extern KEP_API base::ostream* __dbg_couts[];

/** Number of leading characters of a compiled-in source path that debug lines omit. */
extern KEP_API int __root_path_offset;

}  // namespace stream
}  // namespace kep

#endif
