#ifndef VORNISA_TESTS_PARSED_TEXTS_H
#define VORNISA_TESTS_PARSED_TEXTS_H

#include <string>
#include <vector>

namespace scripted {

/**
 * The texts that the plug-in has parsed into attribute sets since the last call, "nullptr" for a null one.
 * Only here is a description visible byte for byte; its class gets parsed attributes.
 */
std::vector<std::string> takeParsedTexts();

}  // namespace scripted

#endif
