#include "kep/attr_set.h"

#include <algorithm>
#include <atomic>
#include <deque>
#include <memory>
#include <new>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "text/attr_text.h"

namespace kep::base {

/**
 * The items in insertion order; above kFew with an index by key, so that n insertions take linear time.
 *
 * Items parsed from a text record which keys were read: a misspelt key is never read, and is reported when
 * the items are destroyed. Iterating over the set or copying it counts as reading every key.
 */
class AttrSet::Items {
  public:
    struct Item {
        Item(std::string_view ofKey, std::string_view ofValue) : key(ofKey), value(ofValue) {}
        Item(const Item& other) : key(other.key), value(other.value) {}
        Item& operator=(const Item&) = delete;

        std::string key;
        std::string value;
        mutable std::atomic<bool> isRead{false};
    };

    /** @param fromText whether unread keys are reported */
    explicit Items(bool fromText) : reportsUnread_(fromText) {}
    Items(const Items& other) : items_(other.items_) {
        other.markAllRead();
        if (items_.size() > kFew) addToIndex(0);
    }
    Items& operator=(const Items&) = delete;

    /** Reports unread keys in one line, then deletes `items`. */
    static void end(const Items* items) {
        const std::unique_ptr<const Items> last(items);
        if (!items->reportsUnread_ || !items->anyRead_) return;
        try {
            items->reportUnread();
        } catch (const std::bad_alloc&) {
            // No memory for the line: drop it.
        }
    }

    void put(std::string_view key, std::string_view value) {
        const std::size_t place = find(key);
        if (place < items_.size()) {
            items_[place].value = value;
            return;
        }
        items_.emplace_back(key, value);
        if (items_.size() > kFew) addToIndex(index_.size());
    }

    /** The item of `key`, null when there is none. */
    const Item* item(std::string_view key) const {
        anyRead_ = true;
        const std::size_t place = find(key);
        if (place == items_.size()) return nullptr;
        items_[place].isRead = true;
        return &items_[place];
    }

    /** The item at `place`, null when there is none. */
    const Item* at(int place) const {
        markAllRead();
        const auto wanted = static_cast<std::size_t>(place);
        return place >= 0 && wanted < items_.size() ? &items_[wanted] : nullptr;
    }

    std::string textOfAll() const {
        markAllRead();
        return text();
    }

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

    std::string text() const {
        std::string text;
        for (const Item& item : items_) {
            if (!text.empty()) text += ',';
            text += item.key;
            text += '=';
            host::appendValue(text, item.value);
        }
        return text;
    }

    void reportUnread() const {
        // A set with a name is a message or an object: its readers need not read every key.
        if (find("name") < items_.size()) return;
        const auto unread = [](const Item& item) { return !item.isRead; };
        const auto first = std::ranges::find_if(items_, unread);
        if (first == items_.end()) return;
        std::string message = "unknown key \"" + first->key + "\"";
        if (const auto more = std::ranges::count_if(first + 1, items_.end(), unread))
            message += " and " + std::to_string(more) + " more";
        const std::string whole = text();
        host::tellTextError(whole, {("," + whole).find("," + first->key + "="), message});
    }

    void markAllRead() const { reportsUnread_ = false; }

    void addToIndex(std::size_t from) {
        for (std::size_t place = from; place < items_.size(); ++place)
            index_.emplace(items_[place].key, place);
    }

    std::deque<Item> items_; /**< a deque: the index refers to the keys, which must not move */
    std::unordered_map<std::string_view, std::size_t> index_;
    // Several threads may read one set.
    mutable std::atomic<bool> reportsUnread_{false};
    mutable std::atomic<bool> anyRead_{false};
};

AttrSet::AttrSet() : items_(new Items(false)) {}

AttrSet::AttrSet(const char* text) : AttrSet() {
    Parse(text);
}

AttrSet::AttrSet(const AttrSet& other) : items_(new Items(*other.items_)) {}

AttrSet& AttrSet::operator=(const AttrSet& other) {
    if (this != &other) {
        auto copy = std::make_unique<Items>(*other.items_);
        Items::end(items_);
        items_ = copy.release();
    }
    return *this;
}

AttrSet::~AttrSet() {
    Items::end(items_);
}

bool AttrSet::Parse(const char* text) {
    // Parsed into a copy: the text may be a value of this set.
    auto fresh = std::make_unique<Items>(true);
    std::vector<host::AttrItem> found;
    host::TextError error;
    const bool parsed = text && host::parseItems(text, found, error);
    if (!text) error.message = "text is null";
    if (parsed) {
        for (const host::AttrItem& item : found) fresh->put(item.key, item.value);
    } else {
        host::tellTextError(text ? text : "", error);
    }
    Items::end(items_);
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
    const std::string text = items_->textOfAll();
    return braced ? "{" + text + "}" : text;
}

}  // namespace kep::base
