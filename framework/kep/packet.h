#ifndef KEP_PACKET_H
#define KEP_PACKET_H

#include <cstdint>

#include "kep/attributes.h"
#include "kep/visibility.h"

namespace kep {
namespace stream {

/** A kind of media that flows between elements; its attributes describe it. */
class KEP_API IMedia : public base::IAttributes {
  public:
    virtual int Codec() const = 0;

  protected:
    ~IMedia() = default;
};

/** One unit of media, as elements exchange it. */
class KEP_API Packet {
  public:
    virtual const void* Data() const = 0;
    virtual int Size() const = 0;              /**< bytes */
    virtual std::int64_t PlayTime() const = 0; /**< nanoseconds */
    virtual bool IsKey() const = 0;
    virtual IMedia* Media() const = 0;

  protected:
    ~Packet() = default;
};

}  // namespace stream
}  // namespace kep

#endif
