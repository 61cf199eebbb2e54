#ifndef KEP_PARAM_H
#define KEP_PARAM_H

#include <typeinfo>

#include "kep/visibility.h"

namespace kep {
namespace base {

/** Whether a property that is declared with type `declared` can be exchanged as the type passed with it. */
typedef bool (*TypeCompatible)(const std::type_info& declared);

/** Named properties of an object. Every operation returns true on success. */
class KEP_API IParam {
  public:
    virtual bool Set(const char* key, void* value, const std::type_info* type) = 0;
    virtual bool Get(const char* key, void* value, const std::type_info* type) const = 0;
    virtual bool SetStr(const char* key, const char* value) = 0;
    virtual bool SetWithType(const char* key, void* value, const std::type_info* type,
                             TypeCompatible compatible) = 0;
    virtual bool GetWithType(const char* key, void* value, const std::type_info* type,
                             TypeCompatible compatible) const = 0;

  protected:
    ~IParam() = default;
};

}  // namespace base
}  // namespace kep

#endif
