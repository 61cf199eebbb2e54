#ifndef VORNISA_PUBLIC_CALLS_H
#define VORNISA_PUBLIC_CALLS_H

#include <filesystem>
#include <functional>
#include <set>
#include <string>
#include <vector>

namespace public_calls {

/** A function of the public header, called with arguments that make sense. */
struct Call {
    std::string name;
    bool takesHandle;
    std::function<int(int id)> make;
};

/** One call of every function; recordings and pictures go into `folder`. VNRelease ends what it acquires. */
std::vector<Call> everyCall(const std::filesystem::path& folder);

/** The functions that the library exports, by its own list. */
std::set<std::string> exportedFunctions();

/** Ends the recordings that VNRecMan and VNRecMan2 have started. */
void endRecordings(int count);

}  // namespace public_calls

#endif
