/** The plug-in as a library that the program loads and unloads, with the double as its framework. */
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <fstream>
#include <new>

#include "process_resources.h"
#include "sanitizers.h"
#include "script.h"
#include "vornisa_api.h"

namespace {

std::atomic<int> liveAllocations{0};

}  // namespace

void* operator new(std::size_t size) {
    void* const memory = std::malloc(size ? size : 1);
    if (!memory) throw std::bad_alloc();
    ++liveAllocations;
    return memory;
}

static void release(void* memory) noexcept {
    if (memory) --liveAllocations;
    std::free(memory);
}

void operator delete(void* memory) noexcept {
    release(memory);
}

void operator delete(void* memory, std::size_t) noexcept {
    release(memory);
}

namespace unit {
namespace {

using scripted::Script;
using Events = std::vector<std::string>;

const Events registration{"ReflectAdd(9999,PluginVornisaApi,vornisa/pluginvornisaapi@version:1.1.1.6885)"};

void* load() {
    void* const library = dlopen(PLUGIN_FILE, RTLD_NOW | RTLD_LOCAL);
    EXPECT_NE(library, nullptr) << dlerror();
    return library;
}

template <class Function>
Function* find(void* library, const char* name) {
    void* const symbol = dlsym(library, name);
    EXPECT_NE(symbol, nullptr) << name;
    return reinterpret_cast<Function*>(symbol);
}

struct Maps {
    bool plugin = false;
    long long bytes = 0;

    Maps() {
        std::ifstream file("/proc/self/maps");
        for (std::string line; std::getline(file, line);) {
            plugin = plugin || line.find("libPluginVornisaApi") != std::string::npos;
            char* end = nullptr;
            const long long first = static_cast<long long>(std::strtoull(line.c_str(), &end, 16));
            bytes += static_cast<long long>(std::strtoull(end + 1, nullptr, 16)) - first;
        }
    }
};

TEST(LoadTest, RegistersOnceAtEachLoadAndLeaksNothing) {
    Script::instance().reset();
    int allocationsBefore = 0;
    int descriptorsBefore = 0;
    long long bytesBefore = 0;
    for (int i = 0; i < 100; ++i) {
        {
            void* const library = load();
            ASSERT_NE(library, nullptr);
            ASSERT_TRUE(Maps().plugin);
            ASSERT_EQ(*find<int>(library, "__cb_register_PluginVornisaApi"), 4242);
            ASSERT_EQ(Script::instance().takeEvents(), registration) << "load " << i;

            int id = 0;
            ASSERT_EQ(find<decltype(VNAcquire)>(library, "VNAcquire")(VNRES_H264_SOURCE, &id), VNRES_SUCCEED);
            ASSERT_EQ(find<decltype(VNSetBps)>(library, "VNSetBps")(id, 2000000), VNRES_SUCCEED);
            ASSERT_EQ(find<decltype(VNRelease)>(library, "VNRelease")(id), VNRES_SUCCEED);
            Script::instance().reset();

            ASSERT_EQ(dlclose(library), 0);
            ASSERT_FALSE(Maps().plugin);
            ASSERT_EQ(Script::instance().takeEvents(), Events{});
        }
        // By the tenth time the program itself has allocated what it keeps.
        if (i == 10) {
            allocationsBefore = liveAllocations;
            descriptorsBefore = openDescriptors();
            bytesBefore = Maps().bytes;
        }
    }
    EXPECT_EQ(liveAllocations, allocationsBefore);
    EXPECT_EQ(openDescriptors(), descriptorsBefore);
    // A sanitizer keeps freed memory.
    EXPECT_TRUE(kSanitized || Maps().bytes == bytesBefore) << Maps().bytes - bytesBefore;
}

TEST(LoadTest, AnObjectStillHeldOutlivesThePlugIn) {
    Script::instance().reset();
    void* const library = load();
    ASSERT_NE(library, nullptr);
    int id = 0;
    auto* const acquire = find<decltype(VNAcquire)>(library, "VNAcquire");
    kep::object_base* object = nullptr;
    {
        struct Held : kep::object_base {};
        object = new Held;
    }
    Script::instance().offer(object);
    ASSERT_EQ(acquire(VNRES_SHARED_MEMORY, &id), VNRES_SUCCEED);
    ASSERT_EQ(dlclose(library), 0);
    ASSERT_FALSE(Maps().plugin);
    delete object;
}

}  // namespace
}  // namespace unit
