#ifndef VNCAM_OUTPUT_H
#define VNCAM_OUTPUT_H

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace vncam {

/** The reader of the pipe closed it: a normal end. */
struct ClosedPipe {};

/** Destination of a stream: a file, or standard output by the name "-". */
class Output {
  public:
    /** Does not touch a file before the first write. Throws Failure when it cannot be opened. */
    explicit Output(std::string path);
    /** Takes over an open pipe. @param name for messages */
    Output(std::string name, int descriptor);
    ~Output();
    Output(const Output&) = delete;
    Output& operator=(const Output&) = delete;

    /**
     * Writes all bytes: to a pipe at once, to a file in large pieces, the last one in close(). Throws
     * ClosedPipe, or Failure naming the file. After a stop request or abandon(), it gives up a pipe that
     * stays full for a second, with ClosedPipe.
     */
    void write(const char* data, std::size_t size);
    /** Writes the buffered bytes of a file. Throws as write() does. */
    void flush() { writeGathered(); }
    void abandon() { abandoned_ = true; }

    /** Opens the output. Whether earlier bytes can be overwritten: in a file, not in a pipe. */
    bool isSeekable();
    /** Sets the position of the next write. Throws as write() does. */
    void seek(std::uint64_t position);

    /** Closes the file, which is created empty when nothing was written; throws Failure when data could not
     * be written. */
    void close();

    /** The name for messages. */
    const std::string& name() const { return name_; }
    /** Bytes given to write(). */
    std::uint64_t bytes() const { return bytes_; }

  private:
    void openOnce();
    void writeOut(const char* data, std::size_t size);
    void writeGathered();
    bool waitWritable() const;
    [[noreturn]] void fail(const char* what, int error) const;

    std::string name_;
    int descriptor_ = -1;
    bool regular_ = false;
    std::vector<char> gathered_; /**< not yet written */
    std::atomic<bool> abandoned_{false};
    std::atomic<std::uint64_t> bytes_{0};
};

/** Whether two names are the same file or pipe, in which two streams would be mixed. Character devices such
 * as /dev/null never are. */
bool isSameOutput(const std::string& one, const std::string& other);

}  // namespace vncam

#endif
