#include "vornisa_check.h"

#include <cxxabi.h>

#include <exception>

namespace vornisa {

int refuse(const Site& site, const char* text, int code) {
    (Line(site.sink, LineKind::error, site.file, site.line, site.function) << text).end();
    return code;
}

int swallowException(const Site& site, int result) {
    try {
        throw;
    } catch (abi::__forced_unwind&) {
        throw;  // the thread is being cancelled
    } catch (const std::exception& exception) {
        return refuse(site, "exception:", result, exception.what());
    } catch (...) {
        return refuse(site, "exception", result);
    }
}

}  // namespace vornisa
