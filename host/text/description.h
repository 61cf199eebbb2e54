#ifndef KEP_HOST_DESCRIPTION_H
#define KEP_HOST_DESCRIPTION_H

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "kep/attr_set.h"
#include "text/attr_text.h"

namespace kep::host {

/**
 * A description, or a part of one together with its position in the whole: a value among `key=value` items,
 * or an element of a chain, `Type:items` or `Type`. Its own parts are parsed once, on demand.
 */
class KEP_API Description {
  public:
    /** A whole description. `text` must outlive it. */
    explicit Description(std::string_view text) : whole_(text), text_(text) {}

    std::string_view text() const { return text_; }
    /** ` at position N of "..."` for an offset in text(); N counts from 1 in the whole description. */
    std::string place(std::size_t offset) const;
    /** The same for the position of its class name. */
    std::string placeOfType() const;

    /** Whether the text is a chain of elements rather than `key=value` items. */
    bool isChain() const;

    /** Parses `key=value` items. False, and `error` filled, when they do not parse. */
    bool parseItems(TextError& error);
    /** Parses elements joined by "+" with their items. False, and `error` filled, when they do not parse. */
    bool parseChain(TextError& error);

    /** The parsed items; for an element its class is added as `type`. */
    base::AttrSet& attributes() { return *attributes_; }
    /** The value of a parsed item, null if there is none. The last of equal keys counts. */
    Description* value(std::string_view key);
    /** The elements of a parsed chain; empty if the text was parsed as items. */
    std::vector<Description>& elements() { return elements_; }

  private:
    Description(std::string_view whole, std::string_view text) : whole_(whole), text_(text) {}

    bool parseElement(TextError& error);
    bool fill(std::string_view text, TextError& error);
    std::size_t offsetOf(std::string_view part) const {
        return static_cast<std::size_t>(part.data() - text_.data());
    }

    std::string_view whole_;
    std::string_view text_; /**< a part of whole_ */
    std::string_view key_;  /**< the key of the item whose value this is */
    bool isElement_ = false;
    std::unique_ptr<base::AttrSet> attributes_; /**< null until the items are parsed */
    std::vector<Description> values_;           /**< one for each item, in text order */
    std::vector<Description> elements_;
};

/** Splits a list of texts at "," outside of braces. `error` is filled when false is returned. */
KEP_API bool parseList(std::string_view text, std::vector<std::string>& entries, TextError& error);

}  // namespace kep::host

#endif
