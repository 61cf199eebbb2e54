#include "kep/attr_set.h"

#include <utility>
#include <vector>

#include "core/attr_text.h"

namespace kep::base {

class AttrSet::Items : public std::vector<std::pair<std::string, std::string>> {
  public:
    iterator findKey(std::string_view key) {
        iterator item = begin();
        while (item != end() && item->first != key) ++item;
        return item;
    }

    void put(std::string_view key, std::string_view value) {
        const iterator found = findKey(key);
        if (found == end()) {
            emplace_back(key, value);
        } else {
            found->second = value;
        }
    }

    /** The item at `index`, null when there is none. */
    const value_type* item(int index) const {
        return index >= 0 && static_cast<size_type>(index) < size() ? &(*this)[static_cast<size_type>(index)]
                                                                    : nullptr;
    }
};

AttrSet::AttrSet() : items_(new Items) {}

AttrSet::AttrSet(const char* text) : AttrSet() {
    Parse(text);
}

AttrSet::AttrSet(const AttrSet& other) : items_(new Items(*other.items_)) {}

AttrSet& AttrSet::operator=(const AttrSet& other) {
    if (this != &other) *items_ = *other.items_;
    return *this;
}

AttrSet::~AttrSet() {
    delete items_;
}

bool AttrSet::Parse(const char* text) {
    // Built aside: the text may be one of this set's own values.
    Items fresh;
    std::vector<host::AttrItem> found;
    host::TextError error;
    const bool parsed = text && host::parseItems(text, found, error);
    if (!text) error.message = "there is no text";
    if (parsed) {
        for (const host::AttrItem& item : found) fresh.put(item.key, item.value);
    } else {
        host::tellTextError(text ? text : "", error);
    }
    items_->swap(fresh);
    return parsed;
}

bool AttrSet::Add(const char* key, const char* value) {
    if (!key || !value || !host::isKey(key) || !host::isValue(value)) return false;
    items_->put(key, std::string(value));
    return true;
}

const char* AttrSet::Get(const char* key) const {
    if (!key) return nullptr;
    const Items::const_iterator found = items_->findKey(key);
    return found == items_->end() ? nullptr : found->second.c_str();
}

const char* AttrSet::GetOrDef(const char* key, const char* fallback) const {
    const char* value = Get(key);
    return value ? value : fallback;
}

const char* AttrSet::Key(int index) const {
    const auto* item = items_->item(index);
    return item ? item->first.c_str() : nullptr;
}

const char* AttrSet::Value(int index) const {
    const auto* item = items_->item(index);
    return item ? item->second.c_str() : nullptr;
}

std::string AttrSet::ToString(bool braced) const {
    std::string text;
    if (braced) text += '{';
    bool first = true;
    for (const auto& [key, value] : *items_) {
        if (!first) text += ',';
        first = false;
        text += key;
        text += '=';
        host::appendValue(text, value);
    }
    if (braced) text += '}';
    return text;
}

}  // namespace kep::base
