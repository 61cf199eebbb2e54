#ifndef VORNISA_TESTS_STREAMS_H
#define VORNISA_TESTS_STREAMS_H

#include <string>

namespace scripted {

/** Discards what was written, undoes the calls below and cuts the source root off paths again. */
void resetStreams();

/** Records unfinished lines as events. */
void noteUnfinishedLines();

/** Switches the recording of lines; off for tests of many threads, whose lines have no defined order. */
void keepLines(bool keep);

/** From now on debug streams throw an exception at every insertion, until reset. */
void throwFromStreams();
/** From now on debug streams throw an int at every insertion, until reset. */
void throwIntFromStreams();
/** Until reset, a thread ends when it writes to a debug stream after `finished` lines. */
void endThreadsInStreams(int finished);

/**
 * Whether line `number` of a source file, whose path is relative to the source root, is in the body of
 * `function` or of a function that exported functions share. Functions begin in the first column.
 */
bool isLineOf(const std::string& file, int number, const std::string& function);

/** Everything written to a debug stream since the last reset. */
std::string rawText(int stream);

/**
 * The event for a log line.
 *
 * @param file relative to the source root
 */
std::string line(int stream, const std::string& colour, const std::string& file, const std::string& function,
                 const std::string& text);

}  // namespace scripted

#endif
