#ifndef KEP_HOST_DESCRIPTION_H
#define KEP_HOST_DESCRIPTION_H

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "core/attr_text.h"
#include "kep/attr_set.h"

namespace kep::host {

/** One element of a chain, `Type:attributes` or `Type`. */
struct ElementText {
    std::string type;
    base::AttrSet attributes;
    std::size_t offset = 0;           /**< of the element in the chain's text */
    std::size_t attributesOffset = 0; /**< of its attributes, the end of its type if it has none */
};

/** Whether a description is a chain of elements rather than `key=value` items. */
KEP_API bool isChain(std::string_view text);

/** Takes a chain, elements joined by "+", apart. `error` is filled when false is returned. */
KEP_API bool parseChain(std::string_view text, std::vector<ElementText>& elements, TextError& error);

/** Takes a list of texts separated by "," apart. `error` is filled when false is returned. */
KEP_API bool parseList(std::string_view text, std::vector<std::string>& entries, TextError& error);

}  // namespace kep::host

#endif
