#ifndef VORNISA_KILLED_FILES_H
#define VORNISA_KILLED_FILES_H

#include <cstdint>
#include <set>
#include <string>
#include <vector>

/** What a recorder that was killed has left in its folder. */
struct KilledFiles {
    /**
     * @param secondsOfFile the length that finished files must have; 0 for any
     * @param captured numbers of the pictures that were captured, none of which may be left out between the
     * first and the last; empty where they are all numbers
     */
    KilledFiles(const std::string& folder, int secondsOfFile, const std::set<std::int64_t>& captured);

    int finished = 0; /**< files with their final name */
    int open = 0;     /**< files with the temporary extension */
    int empty =
        0; /**< files without a picture and without a fault: killed before their first second was over */
    std::int64_t last = -1;          /**< number of the newest picture; -1 for none */
    std::vector<std::string> faults; /**< of each damaged file what is wrong with it */
};

#endif
