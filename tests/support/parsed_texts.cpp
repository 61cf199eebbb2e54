#include "parsed_texts.h"

#include "kep/attr_set.h"

namespace {

std::vector<std::string>& texts() {
    static auto* const all = new std::vector<std::string>;
    return *all;
}

}  // namespace

namespace scripted {

std::vector<std::string> takeParsedTexts() {
    std::vector<std::string> taken;
    taken.swap(texts());
    return taken;
}

}  // namespace scripted

// The linker's --wrap redirects calls of AttrSet::Parse here.
extern "C" bool __real__ZN3kep4base7AttrSet5ParseEPKc(kep::base::AttrSet* set, const char* text);
extern "C" bool __wrap__ZN3kep4base7AttrSet5ParseEPKc(kep::base::AttrSet* set, const char* text) {
    texts().push_back(text ? text : "nullptr");
    return __real__ZN3kep4base7AttrSet5ParseEPKc(set, text);
}
