#include "file_layouts.h"

#include <cmath>
#include <cstdio>
#include <sstream>

#include "command_output.h"

std::vector<FileLayout> playedLayouts() {
    const std::string plain = "-c:v libx264 -preset ultrafast -c:a aac ";
    const std::string reordered = "-c:v libx264 -preset veryfast -bf 2 -c:a aac ";
    return {
        {"Plain", plain},
        {"PlainReordered", reordered},
        {"IndexFirst", reordered + "-movflags faststart"},
        {"ByKeyFrame", plain + "-movflags frag_keyframe+empty_moov"},
        {"ByTime", plain + "-movflags empty_moov -frag_duration 700000"},
        {"ByFrame", plain + "-movflags frag_every_frame+empty_moov"},
        {"WithoutIndex", plain + "-movflags frag_keyframe+empty_moov+skip_trailer"},
        // Inserting the index shifts offsets from the beginning of the file, so offsets are relative.
        {"WithSegmentIndex", plain + "-movflags frag_keyframe+empty_moov+global_sidx+default_base_moof"},
        {"InSegments", plain + "-movflags frag_keyframe+empty_moov+dash"},
        {"DefaultBase", plain + "-movflags frag_keyframe+empty_moov+default_base_moof"},
        {"BaseInFragments", plain + "-movflags frag_keyframe+empty_moov+omit_tfhd_offset"},
        {"TracksApart", plain + "-movflags frag_keyframe+empty_moov+separate_moof"},
        {"SamplesInTheIndexToo", reordered + "-movflags frag_keyframe"},
        {"EditLists", reordered + "-movflags frag_keyframe+empty_moov+delay_moov"},
        // ffprobe takes the time before the first decoding time as a delay.
        {"NegativeOffsets", reordered + "-movflags frag_keyframe+empty_moov+negative_cts_offsets", 33333},
        {"PicturesAlone", "-an -c:v libx264 -preset ultrafast -movflags frag_keyframe+empty_moov"},
        {"SoundAlone", "-vn -c:a aac -movflags empty_moov -frag_duration 500000"},
        {"PlainSoundAlone", "-vn -c:a aac"},
        {"SetsInBand", plain + "-bsf:v dump_extra -movflags frag_keyframe+empty_moov"},
        {"LateSound", "-itsoffset 0.5 -f lavfi -i sine=660:duration=3 -map 0:v -map 2:a " + plain},
        {"TwoSounds", "-map 0:v -map 1:a -map 1:a " + plain + "-movflags frag_keyframe+empty_moov"},
    };
}

void makeFile(const std::string& path, const std::string& options, double seconds) {
    const std::string length = std::to_string(seconds);
    outputOf("ffmpeg -nostdin -y -v error -f lavfi -i testsrc2=size=160x90:rate=30:duration=" + length +
             " -f lavfi -i sine=440:duration=" + length + " " + options + " -pix_fmt yuv420p -g 15 " + path);
}

std::vector<ProbedPacket> probedPackets(const std::string& path) {
    std::istringstream lines(
        outputOf("ffprobe -v quiet -show_entries packet=codec_type,pts_time,size,flags -of csv=p=0 " + path));
    std::vector<ProbedPacket> packets;
    std::string line;
    while (std::getline(lines, line)) {
        char kind[16] = {};
        char flags[16] = {};
        double seconds = 0;
        int size = 0;
        if (std::sscanf(line.c_str(), "%15[^,],%lf,%d,%15s", kind, &seconds, &size, flags) == 4)
            packets.push_back({kind[0] == 'v', flags[0] == 'K', size, std::llround(seconds * 1e6)});
    }
    return packets;
}
