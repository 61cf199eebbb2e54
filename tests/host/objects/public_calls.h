#ifndef VORNISA_PUBLIC_CALLS_H
#define VORNISA_PUBLIC_CALLS_H

#include <filesystem>
#include <functional>
#include <set>
#include <string>
#include <vector>

namespace public_calls {

/** A public function, called with sensible arguments. */
struct Call {
    std::string name;
    bool takesHandle;
    std::function<int(int id)> make;
};

/**
 * One call of every function; recordings and pictures go into `folder`. The call of VNRelease releases what
 * it acquires.
 */
std::vector<Call> everyCall(const std::filesystem::path& folder);

/** The functions that the library exports, read from exports.list. */
std::set<std::string> exportedFunctions();

/** Ends the recordings that VNRecMan and VNRecMan2 have started. */
void endRecordings(int count);

}  // namespace public_calls

#endif
