#include "objects/creation.h"

#include "objects/log.h"

namespace kep::host {
namespace {

constexpr std::size_t kNpos = std::string_view::npos;

thread_local Description* described = nullptr;
thread_local const char* keyRead = nullptr;

/** Finds `inner` in `outer`: as a value in braces, or else anywhere. */
std::size_t findWithin(std::string_view outer, std::string_view inner) {
    const std::size_t braced = outer.find("{" + std::string(inner) + "}");
    return braced == kNpos ? outer.find(inner) : braced + 1;
}

/** The position of an error in `text`: in the description, if the attribute being read contains `text`. */
std::string placeOfError(std::string_view text, std::size_t offset) {
    const Description* const value = described && keyRead ? described->value(keyRead) : nullptr;
    const std::size_t found = value ? findWithin(value->text(), text) : kNpos;
    return found == kNpos ? Description(text).place(offset) : value->place(found + offset);
}

/** Writes an error line for every attribute text that does not parse. */
const struct TextErrorLines {
    TextErrorLines() {
        setTextErrorHook([](std::string_view text, const TextError& error) {
            KEP_HOST_ERROR(error.message + placeOfError(text, error.offset));
        });
    }
    ~TextErrorLines() { setTextErrorHook(nullptr); }
} textErrorLines;

bool report(const Description& description, const TextError& error) {
    KEP_HOST_ERROR(error.message + description.place(error.offset));
    return false;
}

}  // namespace

CreationScope::CreationScope(Description& description) : outer_(described), none_(nullptr) {
    described = &description;
}

CreationScope::~CreationScope() {
    described = outer_;
}

Description* CreationScope::current() {
    return described;
}

CreationScope::Reading::Reading(const char* key) : outer_(keyRead) {
    keyRead = key;
}

CreationScope::Reading::~Reading() {
    keyRead = outer_;
}

NestedDescription::NestedDescription(const base::AttrSet& attributes, const char* key) {
    const char* const text = attributes.Get(key);
    if (!text) return;
    if (described) {
        // An application around a pipeline has the pipeline's whole description as its layout.
        for (Description* const each : {described->value(key), described}) {
            if (each && each->text() == text) {
                found_ = each;
                return;
            }
        }
    }
    own_.emplace(text);
}

namespace {

/** The class of a description; null, and an error line, when there is none. */
ClassBase* findClass(base::AttrSet& attributes) {
    if (!base::Object::NewPreProcessAttrSet(attributes)) return nullptr;
    const char* const type = attributes.Get("type");
    if (!type) {
        const std::string text = attributes.ToString(false);
        KEP_HOST_ERROR("no type in \"" + text + "\"");
        return nullptr;
    }
    base::IClass* found = base::IClass::Find(type);
    if (!found) found = base::IClass::FindBeforeNew(type);
    return static_cast<ClassBase*>(found);
}

}  // namespace

bool readItems(Description& description) {
    TextError error;
    return description.parseItems(error) || report(description, error);
}

namespace {

std::unique_ptr<ObjectImpl> makeObject(Description& description) {
    const CreationScope scope(description);
    return host::makeObject(description.attributes());
}

}  // namespace

std::unique_ptr<ObjectImpl> makeObject(const char* text) {
    Description description(text);
    return readItems(description) ? makeObject(description) : nullptr;
}

std::unique_ptr<ObjectImpl> makeObject(base::AttrSet& attributes) {
    ClassBase* const found = findClass(attributes);
    return found ? found->make(attributes) : nullptr;
}

object_base* createObject(const char* text) {
    Description description(text);
    if (!readItems(description)) return nullptr;
    const CreationScope scope(description);
    return createObject(description.attributes());
}

object_base* createObject(base::AttrSet& attributes) {
    ClassBase* const found = findClass(attributes);
    return found ? found->New<object_base>(attributes) : nullptr;
}

PendingChildren::~PendingChildren() {
    for (ObjectImpl* const made : made_) {
        if (!made->parent()) delete made;
    }
}

bool PendingChildren::take(std::unique_ptr<ObjectImpl> made) {
    if (!made) return false;
    made_.push_back(made.release());
    return true;
}

bool PendingChildren::make(Description& layout) {
    if (layout.text().empty()) return true;
    if (!layout.isChain()) return readItems(layout) && take(makeObject(layout));
    TextError error;
    if (!layout.parseChain(error)) return report(layout, error);
    for (Description& element : layout.elements()) {
        if (!take(makeObject(element))) return false;
    }
    return true;
}

}  // namespace kep::host

namespace kep::base {

bool Object::NewPreProcessAttrSet(AttrSet&) {
    return true;
}

}  // namespace kep::base
