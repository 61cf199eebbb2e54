#ifndef VORNISA_KILLED_FILES_H
#define VORNISA_KILLED_FILES_H

#include <cstdint>
#include <set>
#include <string>
#include <vector>

/** What a killed recorder has left in its folder. */
struct KilledFiles {
    /**
     * @param secondsOfFile the length that finished files must have; 0 for any
     * @param captured numbers of the captured pictures, none of which may be missing between the first and
     * the last one recorded; empty if every number was captured
     */
    KilledFiles(const std::string& folder, int secondsOfFile, const std::set<std::int64_t>& captured);

    int finished = 0;                /**< files with their final name */
    int open = 0;                    /**< files with the temporary extension */
    int empty = 0;                   /**< intact files without a picture: killed within their first second */
    std::int64_t last = -1;          /**< number of the newest picture; -1 for none */
    std::vector<std::string> faults; /**< what is wrong with each damaged file */
};

#endif
