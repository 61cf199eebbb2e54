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
    /** Leaves a file as it is until the first bytes come. Throws Failure naming it when it could not be
     * opened. */
    explicit Output(std::string path);
    /** Takes an open pipe, by a name for messages. */
    Output(std::string name, int descriptor);
    ~Output();
    Output(const Output&) = delete;
    Output& operator=(const Output&) = delete;

    /**
     * Writes all bytes: to a pipe at once, to a file in large pieces, the last of them at its end. Throws
     * ClosedPipe, or Failure naming the file. Once a stop has been asked for or the output is abandoned, a
     * pipe whose reader does not read is given up after a second.
     */
    void write(const char* data, std::size_t size);
    /** Writes what is gathered for a file. Throws as write() does. */
    void flush() { writeGathered(); }
    void abandon() { abandoned_ = true; }

    /** Whether earlier bytes can be written over: in a file, not in a pipe. */
    bool isSeekable();
    /** The next bytes are written from there on. Throws as write() does. */
    void seek(std::uint64_t position);

    /** Closes the file, which is empty when nothing was written; throws Failure when what was written did
     * not arrive. */
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

/** Whether what goes to one of two outputs would get among what goes to the other: the same file or pipe, by
 * whatever name. Of a device like /dev/null there is none too many. */
bool isSameOutput(const std::string& one, const std::string& other);

}  // namespace vncam

#endif
