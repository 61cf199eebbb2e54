#ifndef VORNISA_FILE_LAYOUTS_H
#define VORNISA_FILE_LAYOUTS_H

#include <ostream>
#include <string>
#include <vector>

/** A way in which ffmpeg lays out an MP4 file. */
struct FileLayout {
    const char* name;
    std::string options; /**< of ffmpeg, behind its sources */
    /** How much later ffprobe has the pictures than the file, in microseconds. */
    int pictureDelay = 0;
};

inline void PrintTo(const FileLayout& layout, std::ostream* out) {
    *out << layout.name;
}

/** Layouts with pictures of H.264, sound of AAC or both; a group of pictures is half a second. */
std::vector<FileLayout> playedLayouts();

/** Has ffmpeg make a file of so many seconds. */
void makeFile(const std::string& path, const std::string& options, double seconds = 6.3);

/** A packet as another program reports it. */
struct ProbedPacket {
    bool video;
    bool key;
    int size;
    long long microseconds; /**< of presentation */
};

/** All packets of a file, in its order. */
std::vector<ProbedPacket> probedPackets(const std::string& path);

#endif
