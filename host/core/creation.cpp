#include "core/creation.h"

#include <algorithm>
#include <atomic>

#include "core/attr_text.h"
#include "core/description.h"
#include "core/log.h"

namespace kep::host {
namespace {

constexpr std::size_t npos = std::string_view::npos;
/** Characters of a text that an error line shows on either side of the place. */
constexpr std::size_t kShown = 60;

thread_local const CreationScope* current = nullptr;

std::atomic<CreationHook> creationHook{nullptr};

/** Where `inner` stands in `outer`: as a value in braces, or else anywhere. */
std::size_t findWithin(std::string_view outer, std::string_view inner) {
    const std::size_t braced = outer.find("{" + std::string(inner) + "}");
    return braced == npos ? outer.find(inner) : braced + 1;
}

std::string describePlace(std::string_view text, std::size_t offset) {
    const std::size_t from = offset > kShown ? offset - kShown : 0;
    const std::size_t to = std::min(text.size(), offset + kShown);
    std::string place = " at position " + std::to_string(offset + 1) + " of \"";
    if (from > 0) place += "...";
    place += text.substr(from, to - from);
    if (to < text.size()) place += "...";
    return place + "\"";
}

/** Attribute sets that do not parse are told of in an error line, whoever parses them. */
const struct TextErrorLines {
    TextErrorLines() {
        setTextErrorHook([](std::string_view text, const TextError& error) {
            KEP_HOST_ERROR(error.message + CreationScope::place(text, error.offset));
        });
    }
    ~TextErrorLines() { setTextErrorHook(nullptr); }
} textErrorLines;

}  // namespace

CreationScope::CreationScope(std::string_view text) : text_(text), outer_(current), root_(this) {
    if (outer_) {
        const std::size_t found = findWithin(outer_->text_, text);
        if (found != npos) {
            root_ = outer_->root_;
            offset_ = outer_->offset_ + found;
        }
    }
    current = this;
}

CreationScope::CreationScope(const CreationScope& outer, std::size_t offset, std::size_t length)
    : text_(outer.text_.substr(offset, length)),
      outer_(&outer),
      root_(outer.root_),
      offset_(outer.offset_ + offset) {
    current = this;
}

CreationScope::~CreationScope() {
    current = outer_;
}

std::string CreationScope::place(std::string_view text, std::size_t offset) {
    for (const CreationScope* scope = current; scope; scope = scope->outer_) {
        const std::size_t found = findWithin(scope->text_, text);
        if (found != npos) return describePlace(scope->root_->text_, scope->offset_ + found + offset);
    }
    return describePlace(text, offset);
}

std::string CreationScope::placeOfType() {
    if (!current) return {};
    std::vector<AttrItem> items;
    TextError ignored;
    std::size_t offset = 0;
    // An element begins with its class; a description has it among its attributes.
    if (!isChain(current->text_) && parseItems(current->text_, items, ignored)) {
        for (const AttrItem& item : items) {
            if (item.key == "type") offset = item.valueOffset;
        }
    }
    return describePlace(current->root_->text_, current->offset_ + offset);
}

void setCreationHook(CreationHook hook) {
    creationHook = hook;
}

namespace {

/** The class of a description; null, and an error line, when there is none. */
ClassBase* findClass(base::AttrSet& attributes) {
    if (const CreationHook hook = creationHook) hook();
    if (!base::Object::NewPreProcessAttrSet(attributes)) return nullptr;
    const char* const type = attributes.Get("type");
    if (!type) {
        const std::string text = attributes.ToString(false);
        KEP_HOST_ERROR("there is no type in \"" + text + "\"");
        return nullptr;
    }
    base::IClass* found = base::IClass::Find(type);
    if (!found) found = base::IClass::FindBeforeNew(type);
    return static_cast<ClassBase*>(found);
}

}  // namespace

std::unique_ptr<ObjectImpl> makeObject(const char* text) {
    const CreationScope scope(text ? text : "");
    base::AttrSet attributes;
    return attributes.Parse(text) ? makeObject(attributes) : nullptr;
}

std::unique_ptr<ObjectImpl> makeObject(base::AttrSet& attributes) {
    ClassBase* const found = findClass(attributes);
    return found ? found->make(attributes) : nullptr;
}

object_base* createObject(const char* text) {
    const CreationScope scope(text ? text : "");
    base::AttrSet attributes;
    return attributes.Parse(text) ? createObject(attributes) : nullptr;
}

object_base* createObject(base::AttrSet& attributes) {
    ClassBase* const found = findClass(attributes);
    return found ? found->New<object_base>(attributes) : nullptr;
}

Offspring::~Offspring() {
    for (ObjectImpl* const made : made_) {
        if (!made->parent()) delete made;
    }
}

bool Offspring::take(std::unique_ptr<ObjectImpl> made) {
    if (!made) return false;
    made_.push_back(made.release());
    return true;
}

bool Offspring::make(const char* layout) {
    const CreationScope scope(layout);
    if (!isChain(layout)) return *layout == '\0' || take(makeObject(layout));

    std::vector<ElementText> elements;
    TextError error;
    const std::string_view text = layout;
    if (!parseChain(text, elements, error)) {
        KEP_HOST_ERROR(error.message + CreationScope::place(text, error.offset));
        return false;
    }
    for (std::size_t i = 0; i < elements.size(); ++i) {
        const std::size_t end = i + 1 < elements.size() ? elements[i + 1].offset : text.size();
        const CreationScope element(scope, elements[i].offset, end - elements[i].offset);
        base::AttrSet& attributes = elements[i].attributes;
        attributes.Add("type", elements[i].type.c_str());
        if (!take(makeObject(attributes))) return false;
    }
    return true;
}

}  // namespace kep::host

namespace kep::base {

bool Object::NewPreProcessAttrSet(AttrSet&) {
    return true;
}

}  // namespace kep::base
