#ifndef VORNISA_FILE_LAYOUTS_H
#define VORNISA_FILE_LAYOUTS_H

#include <ostream>
#include <string>
#include <vector>

/** A layout in which ffmpeg writes an MP4 file. */
struct FileLayout {
    const char* name;
    std::string options; /**< ffmpeg's options after the inputs */
    /** How much later ffprobe reports the pictures than the file says, in microseconds. */
    int pictureDelay = 0;
};

inline void PrintTo(const FileLayout& layout, std::ostream* out) {
    *out << layout.name;
}

/** Layouts with H.264 pictures, AAC sound or both; groups of pictures last half a second. */
std::vector<FileLayout> playedLayouts();

/** Makes ffmpeg write a file of this duration. */
void makeFile(const std::string& path, const std::string& options, double seconds = 6.3);

/** A packet as ffprobe reports it. */
struct ProbedPacket {
    bool video;
    bool key;
    int size;
    long long microseconds; /**< presentation time */
};

/** All packets, in the order of the file. */
std::vector<ProbedPacket> probedPackets(const std::string& path);

#endif
