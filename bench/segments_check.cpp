/**
 * Checks the files of a recording of the camera's test picture and the microphone's test tone:
 *
 *   bench_segments_check FOLDER SECONDS_OF_A_FILE FPS GOP
 *
 * Prints, one figure a line: the number of files, and of those that do not play alone; pictures lost and
 * duplicated from the first file to the last; the largest error of a length, except that of the last file;
 * samples lost or duplicated from one file to the next; the distance between flash and beep.
 */
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <vector>

#include "recorded_file.h"

namespace {

namespace fs = std::filesystem;

/** Measurements of one file. */
struct Part {
    std::string name;
    std::string fault;
    std::vector<std::uint32_t> numbers;
    double length = 0;
    int rate = 0;
    long gaps = 0;          /**< audio packets that do not continue the previous one */
    double beforeBeep = -1; /**< seconds of sound before the first beep; negative without one */
    double afterBeep = -1;  /**< and from the last one to the end */
    double apart = -1; /**< largest distance of a beep from its flash, in seconds; negative without one */

    explicit Part(const fs::path& path);

  private:
    void measureSound(const fs::path& path);
};

Part::Part(const fs::path& path) : name(path.filename().string()) {
    RecordedFile file(path.string());
    const std::vector<RecordedPicture> pictures = file.decodePictures();
    for (const RecordedPicture& picture : pictures) {
        if (picture.number) {
            numbers.push_back(*picture.number);
        } else {
            fault = "a picture without a readable number";
        }
    }
    length = file.video().end() - file.video().begin();
    const std::vector<double> beeps = beepsOf(file.decodeSound());
    for (const double flash : flashesOf(pictures)) {
        for (const double beep : beeps) {
            if (std::abs(flash - beep) < 0.5) apart = std::max(apart, std::abs(flash - beep));
        }
    }
    if (pictures.empty()) {
        fault = "no picture";
    } else if (!pictures.front().key || !file.video().codec || file.video().codec->extradata_size == 0) {
        fault = "does not begin with a key frame and its parameter sets";
    } else if (!file.audio()) {
        fault = "no sound";
    }
    if (!file.errors().empty()) fault = file.errors().front();
    measureSound(path);
}

/** Measures all samples in the file, including those that players skip. */
void Part::measureSound(const fs::path& path) {
    RecordedFile file(path.string(), false);
    const RecordedStream& audio = file.audio();
    for (std::size_t i = 1; i < audio.packets.size(); ++i) {
        if (audio.packets[i]->pts != audio.packets[i - 1]->pts + audio.packets.back()->duration) ++gaps;
    }
    const RecordedSound sound = file.decodeSound();
    const std::vector<double> beeps = beepsOf(sound);
    rate = sound.rate;
    if (beeps.empty()) return;
    beforeBeep = beeps.front() - audio.begin();
    afterBeep = audio.end() - beeps.back();
}

/** Continuity of pictures and sound from each file to the next. */
struct Seams {
    long lost = 0;
    long doubled = 0;
    double samples = 0; /**< maximum of those lost or duplicated at one seam */
    long unmeasured = 0;

    explicit Seams(const std::vector<Part>& parts) {
        bool begun = false;
        std::uint32_t last = 0;
        for (const Part& part : parts) {
            for (const std::uint32_t number : part.numbers) {
                const auto step = begun ? static_cast<std::int32_t>(number - last) : 1;
                if (step <= 0) ++doubled;
                if (step > 1) lost += step - 1;
                last = number;
                begun = true;
            }
        }
        for (std::size_t i = 1; i < parts.size(); ++i) {
            const double between = parts[i - 1].afterBeep + parts[i].beforeBeep;
            if (parts[i - 1].afterBeep < 0 || parts[i].beforeBeep < 0) {
                // The last file may be too short for a beep.
                if (i + 1 < parts.size()) ++unmeasured;
                continue;
            }
            samples = std::max(samples, std::abs(between - std::round(between)) * parts[i].rate);
        }
    }
};

}  // namespace

int main(int argc, char** argv) {
    if (argc != 5) {
        std::fprintf(stderr, "usage: bench_segments_check FOLDER SECONDS_OF_A_FILE FPS GOP\n");
        return 2;
    }
    std::vector<Part> parts;
    for (const fs::directory_entry& entry : fs::directory_iterator(argv[1])) parts.emplace_back(entry.path());
    std::sort(parts.begin(), parts.end(),
              [](const Part& one, const Part& other) { return one.numbers < other.numbers; });
    if (parts.size() < 2) {
        std::fprintf(stderr, "bench_segments_check: too few files in %s\n", argv[1]);
        return 1;
    }
    long unplayable = 0;
    long gaps = 0;
    double off = 0;
    double apart = 0;
    long unheard = 0;
    for (std::size_t i = 0; i < parts.size(); ++i) {
        const Part& part = parts[i];
        if (!part.fault.empty()) {
            ++unplayable;
            std::fprintf(stderr, "%s: %s\n", part.name.c_str(), part.fault.c_str());
        }
        gaps += part.gaps;
        if (i + 1 == parts.size()) break;
        off = std::max(off, std::abs(part.length - std::atof(argv[2])));
        apart = std::max(apart, part.apart);
        if (part.apart < 0) ++unheard;
    }
    const Seams seams(parts);
    std::printf("segments %zu\nsegments_unplayable %ld\n", parts.size() - 1, unplayable);
    std::printf("segments_lost %ld\nsegments_doubled %ld\n", seams.lost, seams.doubled);
    std::printf("segments_length_off_groups %.3f\n", off * std::atof(argv[3]) / std::atof(argv[4]));
    std::printf("segments_sound_gaps %ld\nsegments_sound_off_samples %.1f\n", gaps, seams.samples);
    std::printf("segments_apart_ms %.3f\nsegments_apart_last_ms %.3f\n", apart * 1e3,
                parts[parts.size() - 2].apart * 1e3);
    std::printf("segments_unmeasured %ld\n", unheard + seams.unmeasured);
    return 0;
}
