#include "kep/attr_set.h"

#include <deque>
#include <memory>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "text/attr_text.h"

namespace kep::base {

/** The items in their order; above kFew with an index by key, so that n insertions take linear time. */
class AttrSet::Items {
  public:
    struct Item {
        std::string key;
        std::string value;
    };

    Items() = default;
    Items(const Items& other) : items_(other.items_) {
        if (items_.size() > kFew) addToIndex(0);
    }
    Items& operator=(const Items&) = delete;

    void put(std::string_view key, std::string_view value) {
        const std::size_t place = find(key);
        if (place < items_.size()) {
            items_[place].value = value;
            return;
        }
        items_.push_back({std::string(key), std::string(value)});
        if (items_.size() > kFew) addToIndex(index_.size());
    }

    /** The item of `key`, null when there is none. */
    const Item* item(std::string_view key) const {
        const std::size_t place = find(key);
        return place < items_.size() ? &items_[place] : nullptr;
    }

    /** The item at `place`, null when there is none. */
    const Item* at(int place) const {
        const auto wanted = static_cast<std::size_t>(place);
        return place >= 0 && wanted < items_.size() ? &items_[wanted] : nullptr;
    }

    std::deque<Item>::const_iterator begin() const { return items_.begin(); }
    std::deque<Item>::const_iterator end() const { return items_.end(); }

  private:
    /** Up to this many items a linear search is faster than an index. */
    static constexpr std::size_t kFew = 16;

    /** The index of `key`, or one past the end. */
    std::size_t find(std::string_view key) const {
        if (items_.size() > kFew) {
            const auto found = index_.find(key);
            return found == index_.end() ? items_.size() : found->second;
        }
        std::size_t place = 0;
        while (place < items_.size() && items_[place].key != key) ++place;
        return place;
    }

    void addToIndex(std::size_t from) {
        for (std::size_t place = from; place < items_.size(); ++place)
            index_.emplace(items_[place].key, place);
    }

    std::deque<Item> items_; /**< a deque: the index refers to the keys, which must not move */
    std::unordered_map<std::string_view, std::size_t> index_;
};

AttrSet::AttrSet() : items_(new Items) {}

AttrSet::AttrSet(const char* text) : AttrSet() {
    Parse(text);
}

AttrSet::AttrSet(const AttrSet& other) : items_(new Items(*other.items_)) {}

AttrSet& AttrSet::operator=(const AttrSet& other) {
    if (this != &other) {
        auto copy = std::make_unique<Items>(*other.items_);
        delete items_;
        items_ = copy.release();
    }
    return *this;
}

AttrSet::~AttrSet() {
    delete items_;
}

bool AttrSet::Parse(const char* text) {
    // Parsed into a copy: the text may be a value of this set.
    auto fresh = std::make_unique<Items>();
    std::vector<host::AttrItem> found;
    host::TextError error;
    const bool parsed = text && host::parseItems(text, found, error);
    if (!text) error.message = "there is no text";
    if (parsed) {
        for (const host::AttrItem& item : found) fresh->put(item.key, item.value);
    } else {
        host::tellTextError(text ? text : "", error);
    }
    delete items_;
    items_ = fresh.release();
    return parsed;
}

bool AttrSet::Add(const char* key, const char* value) {
    if (!key || !value || !host::isKey(key) || !host::isValue(value)) return false;
    items_->put(key, std::string(value));
    return true;
}

const char* AttrSet::Get(const char* key) const {
    if (!key) return nullptr;
    const Items::Item* const found = items_->item(key);
    return found ? found->value.c_str() : nullptr;
}

const char* AttrSet::GetOrDef(const char* key, const char* fallback) const {
    const char* value = Get(key);
    return value ? value : fallback;
}

const char* AttrSet::Key(int index) const {
    const Items::Item* const item = items_->at(index);
    return item ? item->key.c_str() : nullptr;
}

const char* AttrSet::Value(int index) const {
    const Items::Item* const item = items_->at(index);
    return item ? item->value.c_str() : nullptr;
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
