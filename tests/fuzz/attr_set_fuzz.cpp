// Any bytes as attribute text: what parses must parse the same from its own text, and nothing may crash.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "kep/attr_set.h"
#include "text/description.h"

namespace {

using kep::base::AttrSet;

void require(bool holds, const char* what, const std::string& text) {
    if (holds) return;
    std::fprintf(stderr, "%s: %s\n", what, text.c_str());
    std::abort();
}

bool same(const AttrSet& one, const AttrSet& other) {
    for (int i = 0; one.Key(i) || other.Key(i); ++i) {
        if (!one.Key(i) || !other.Key(i)) return false;
        if (std::strcmp(one.Key(i), other.Key(i)) != 0 || std::strcmp(one.Value(i), other.Value(i)) != 0)
            return false;
    }
    return true;
}

void checkRoundTrip(const AttrSet& set, const std::string& text) {
    for (const bool braced : {false, true}) {
        AttrSet again;
        require(again.Parse(set.ToString(braced).c_str()), "its own text does not parse", text);
        require(same(set, again), "its own text parses differently", text);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string bytes(reinterpret_cast<const char*>(data), size);
    const std::string text = bytes.c_str();

    AttrSet set;
    const bool parsed = set.Parse(text.c_str());
    require(parsed || !set.Key(0), "a refused text leaves attributes", text);
    if (parsed) checkRoundTrip(set, text);

    kep::host::TextError error;
    std::vector<kep::host::AttrItem> items;
    require(kep::host::parseItems(text, items, error) == parsed, "the two parsers differ", text);
    require(parsed || (error.offset <= text.size() && !error.message.empty()),
            "an error without position or message", text);

    kep::host::Description chain(bytes);
    if (chain.parseChain(error)) {
        for (auto& element : chain.elements()) {
            require(!element.text().empty() && *element.attributes().Get("type"), "an element without a type",
                    text);
        }
    } else {
        require(error.offset <= bytes.size(), "an error position outside a chain", text);
    }
    std::vector<std::string> entries;
    kep::host::parseList(bytes, entries, error);
    static_cast<void>(chain.isChain());
    return 0;
}
