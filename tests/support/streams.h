#ifndef VORNISA_TESTS_STREAMS_H
#define VORNISA_TESTS_STREAMS_H

#include <string>

namespace scripted {

/** Forgets unfinished lines and cuts the source's root off paths again. */
void resetStreams();

/** Records what was written without the end of a line. */
void noteUnfinishedLines();

/** Whether debug streams keep what is written; for tests of many threads, which have no order of lines. */
void keepLines(bool keep);

/** From now on debug streams throw an exception at every insertion, until reset. */
void throwFromStreams();
/** From now on debug streams throw an int at every insertion, until reset. */
void throwOddlyFromStreams();
/** A thread that writes to a debug stream ends there once `finished` lines have been written, until reset. */
void endThreadsInStreams(int finished);

/**
 * Whether line `number` of a source file, named below the source's root, lies in the body of `function`, or
 * in one that exported functions share. A function begins in the first column.
 */
bool isLineOf(const std::string& file, int number, const std::string& function);

/** Everything written to a debug stream since the last reset. */
std::string rawText(int stream);

/**
 * A log line as it is among the events, for comparison.
 *
 * @param file below the source's root
 */
std::string line(int stream, const std::string& colour, const std::string& file, const std::string& function,
                 const std::string& text);

}  // namespace scripted

#endif
