#ifndef RECORDINGS_FILE_LAYER_H
#define RECORDINGS_FILE_LAYER_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

namespace recordings {

/**
 * The only place where recordings and pictures are opened, written, synced and renamed. Tests replace it by
 * one that records the operations or refuses some. Files get their final name through commit() alone.
 *
 * Every operation that can fail returns false or null and fills `reason` with path and cause
 * ("/mnt/sd/a.mp4.part: No space left on device").
 */
class FileLayer {
  public:
    /** A file that is open for writing. Its destructor closes it. */
    class File {
      public:
        virtual ~File() = default;
        /** Writes all bytes at `offset`, or fails. */
        virtual bool write(std::uint64_t offset, const void* bytes, std::size_t size,
                           std::string& reason) = 0;
        /** Truncates the file to `size`; the default implementation fails. */
        virtual bool truncate(std::uint64_t size, std::string& reason);
        /** Returns once all written data is on the disk. */
        virtual bool sync(std::string& reason) = 0;
        /** Closes the file; reports write errors that appear only on close. */
        virtual bool close(std::string& reason) = 0;
    };

    /** What commit() does when the final name exists. */
    enum class Taken { refuse, replace };

    /** How far commit() came: the file has its old name; or the new one, until a power cut; or the new one
     * durably. */
    enum class Committed { no, renamed, durable };

    virtual ~FileLayer() = default;

    /** Creates a file; fails when the name exists. */
    virtual std::unique_ptr<File> create(const std::string& path, std::string& reason) = 0;
    /** Opens an existing file for writing; the default implementation fails. */
    virtual std::unique_ptr<File> open(const std::string& path, std::string& reason);
    /** Renames a file; fails when the new name exists. */
    virtual bool rename(const std::string& from, const std::string& to, std::string& reason) = 0;
    /** The same, but replaces an existing file. */
    virtual bool replace(const std::string& from, const std::string& to, std::string& reason) = 0;
    /** Returns once the names in a folder are on the disk. */
    virtual bool syncFolder(const std::string& folder, std::string& reason) = 0;
    virtual bool remove(const std::string& path, std::string& reason) = 0;
    virtual bool exists(const std::string& path) = 0;

    /**
     * Gives a complete file its final name: syncs and closes it, renames it, and syncs the folder. After a
     * power cut at any moment, the final name refers to the complete file or to the older one of that name.
     * `from` equals `to` for a file that was opened under its final name.
     *
     * Committed::renamed, with `reason` filled: the folder could not be synced, and a power cut may undo the
     * renaming.
     */
    Committed commit(File& file, const std::string& from, const std::string& to, Taken taken,
                     std::string& reason);

    /** The layer in use: the operating system's unless a test has replaced it. */
    static FileLayer& current();
    /** Uses `layer` for files opened from now on; null restores the operating system's. The caller owns it
     * and must keep it alive while it is in use. */
    static void use(FileLayer* layer);
    /** The operating system's layer. */
    static FileLayer& system();

    /** The folder part of a path, "." when it has none. */
    static std::string folderOf(const std::string& path);
};

}  // namespace recordings

#endif
