#include "kep/reflect.h"
#include "vornisa_api.h"

extern "C" {

/** The framework calls it for the registered plug-in, which has nothing to do here. */
VN_API void RegisterPluginVornisaApi(const char*) {}

extern VN_API int __cb_register_PluginVornisaApi;
int __cb_register_PluginVornisaApi = ReflectAdd(RegisterPluginVornisaApi, 9999, "PluginVornisaApi",
                                                "vornisa/pluginvornisaapi@version:1.1.1.6885");
}
