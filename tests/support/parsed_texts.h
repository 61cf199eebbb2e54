#ifndef VORNISA_TESTS_PARSED_TEXTS_H
#define VORNISA_TESTS_PARSED_TEXTS_H

#include <string>
#include <vector>

namespace scripted {

/**
 * The texts that the plug-in had parsed into attribute sets since the last call, "nullptr" for a null one:
 * the only place where a description is seen to the byte before its class gets it as attributes.
 */
std::vector<std::string> takeParsedTexts();

}  // namespace scripted

#endif
