#include "kep/entry_points.h"

#include <exception>
#include <string>
#include <string_view>

#include "kep/streaming.h"
#include "kep/url.h"
#include "objects/attr_set_object.h"
#include "objects/creation.h"
#include "objects/face.h"
#include "objects/log.h"
#include "objects/object_impl.h"
#include "objects/state_text.h"

namespace {

using kep::object_base;
using kep::api::streaming::common::IStreamControl;
using kep::host::AttrSetObject;
using kep::host::Face;
using kep::host::ObjectImpl;

/** Runs a call; an exception becomes an error line and `failed`. */
template <class Result, class Call>
Result guarded(const char* entry, Result failed, Call call) noexcept {
    try {
        return call();
    } catch (const std::exception& failure) {
        KEP_HOST_ERROR(std::string(entry) + " failed: " + failure.what());
    } catch (...) {
        KEP_HOST_ERROR(std::string(entry) + " failed");
    }
    return failed;
}

/** Whether an argument is not null; an error line when it is. */
bool given(const void* argument, const char* entry, const char* what) {
    if (!argument) KEP_HOST_ERROR(std::string(entry) + ": null " + what);
    return argument != nullptr;
}

/** Whether `://` comes before any character of the attribute syntax. */
bool looksLikeUrl(std::string_view text) {
    const std::size_t separator = text.find("://");
    return separator != text.npos && text.find_first_of("=,{}") > separator;
}

/** Changes the state of a plain object or a stream, up or down. */
bool changeState(object_base* object, const char* text, bool up) {
    const auto state = kep::host::toState(text);
    if (!state) {
        KEP_HOST_ERROR("\"" + std::string(text) + "\" is not a state: states are null, ready and play");
        return false;
    }
    if (auto* const plain = object->AsType<kep::base::IParam>()) {
        return plain->SetStr(up ? "statusup" : "statusdown", text);
    }
    if (auto* const stream = object->AsType<IStreamControl>()) {
        return up ? stream->ChangeUp(*state) : stream->ChangeDown(*state);
    }
    KEP_HOST_ERROR("an object without states cannot change to \"" + std::string(text) + "\"");
    return false;
}

}  // namespace

extern "C" {

object_base* kepCreate(const char* text) {
    return guarded<object_base*>(__func__, nullptr, [&]() -> object_base* {
        return given(text, "kepCreate", "description") ? kep::host::createObject(text) : nullptr;
    });
}

object_base* kepCreateApp(const char* text) {
    return guarded<object_base*>(__func__, nullptr, [&]() -> object_base* {
        if (!given(text, "kepCreateApp", "description")) return nullptr;
        kep::host::Description description(text);
        if (!kep::host::readItems(description)) return nullptr;
        const kep::host::CreationScope scope(description);
        kep::base::AttrSet& attributes = description.attributes();
        if (kep::Hash(attributes.Get("type")) != kep::Hash("pipeline")) {
            return kep::host::createObject(attributes);
        }
        kep::base::AttrSet application;
        application.Add("type", "Application");
        application.Add("layout", text);
        return kep::host::createObject(application);
    });
}

object_base* kepCreateAttrSet(const char* text) {
    return guarded<object_base*>(__func__, nullptr, [&]() -> object_base* {
        if (!given(text, "kepCreateAttrSet", "text")) return nullptr;
        auto set = std::make_unique<AttrSetObject>();
        const bool parsed =
            looksLikeUrl(text) ? kep::base::IUrl::Parse(text, set->attributes) : set->attributes.Parse(text);
        return parsed ? set.release() : nullptr;
    });
}

const char* kepAttrGetStr(object_base* set, const char* key) {
    return guarded<const char*>(__func__, nullptr, [&]() -> const char* {
        if (!given(set, "kepAttrGetStr", "object") || !given(key, "kepAttrGetStr", "key")) return nullptr;
        if (const auto* const attributes = set->AsType<AttrSetObject>())
            return attributes->attributes.Get(key);
        // An object's values change while it runs: the copy is valid until the thread's next call.
        thread_local std::string copy;
        auto* const face = set->AsType<Face>();
        const std::shared_ptr<ObjectImpl> shared = face ? face->object() : nullptr;
        const auto* const object = face ? shared.get() : set->AsType<ObjectImpl>();
        const auto text = object ? object->text(key) : nullptr;
        if (!text) return nullptr;
        copy = *text;
        return copy.c_str();
    });
}

std::int64_t kepAttrGetInt(object_base* set, const char* key) {
    const char* const text = kepAttrGetStr(set, key);
    std::int64_t value = 0;
    if (text) kep::base::ConvertToImpl(text, value);
    return value;
}

int kepStatusUp(object_base* object, const char* state) {
    return guarded(__func__, false, [&] {
        return given(object, "kepStatusUp", "object") && given(state, "kepStatusUp", "state") &&
               changeState(object, state, true);
    });
}

int kepStatusDown(object_base* object, const char* state) {
    return guarded(__func__, false, [&] {
        return given(object, "kepStatusDown", "object") && given(state, "kepStatusDown", "state") &&
               changeState(object, state, false);
    });
}

int kepRegisterMessageProcess(object_base* app, int (*handler)(const char* message)) {
    return guarded(__func__, false, [&] {
        constexpr const char* kEntry = "kepRegisterMessageProcess";
        if (!given(app, kEntry, "object") ||
            !given(reinterpret_cast<const void*>(handler), kEntry, "handler"))
            return false;
        if (auto* const plain = app->AsType<kep::base::IMessageProcesser>()) {
            return plain->RegisterMessageProcessCallback(
                [handler](kep::base::Message& message) { return handler(message.ToString().c_str()) == 1; });
        }
        if (auto* const stream = app->AsType<IStreamControl>()) {
            return stream->RegisterMessageCallback(
                [handler](const char* message) { return handler(message) == 1; });
        }
        KEP_HOST_ERROR("an object without messages cannot have a message handler");
        return false;
    });
}

int kepDestroy(object_base* object) {
    return guarded(__func__, false, [&] {
        if (!given(object, "kepDestroy", "object")) return false;
        delete object;
        return true;
    });
}
}
