// People detected in a clip, and false detections in stills: raw grey pictures of 640x360, five per second.
//
//   bench_people CLIP STILLS
//
// Found: a sampled picture of the clip has a detection whose box differs from the empty picture, which is the
// median of each pixel over the clip. False: any detection while a still is shown for two seconds, to a
// steady and to a shaking camera.
#include "vision/people.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <ctime>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <vector>

#include "picture/reference_frame.h"
#include "vision/result_segment.h"

namespace {

using kep::host::FoundPerson;

constexpr int kWidth = 640;
constexpr int kHeight = 360;
constexpr std::size_t kPixels = std::size_t{kWidth} * kHeight;
constexpr int kSamples = 99;
constexpr int kPicturesOfStill = 10;
/** Pixels; a camera on a pole in the wind. */
constexpr int kShake = 3;
/** Grey levels; smaller differences from the empty picture are noise. */
constexpr int kDifferent = 25;
/** Minimum share of different pixels in a box with a person; noise makes less than 0.01. */
constexpr double kPersonPart = 0.15;

using Pixels = std::vector<std::uint8_t>;

std::vector<Pixels> picturesOf(const char* path) {
    std::ifstream file(path, std::ios::binary);
    std::vector<Pixels> pictures;
    Pixels picture(kPixels);
    while (file.read(reinterpret_cast<char*>(picture.data()), kPixels)) pictures.push_back(picture);
    return pictures;
}

Pixels medianOf(const std::vector<Pixels>& pictures, std::size_t step) {
    Pixels median(kPixels), values;
    for (std::size_t i = 0; i < kPixels; ++i) {
        values.clear();
        for (std::size_t n = 0; n < pictures.size(); n += step) values.push_back(pictures[n][i]);
        std::nth_element(values.begin(), values.begin() + std::ptrdiff_t(values.size() / 2), values.end());
        median[i] = values[values.size() / 2];
    }
    return median;
}

bool isSomeoneAt(const FoundPerson& person, const Pixels& picture, const Pixels& empty) {
    const int left = person.x * kWidth / kep::host::kReferenceWidth;
    const int right = (person.x + person.w) * kWidth / kep::host::kReferenceWidth;
    const int top = person.y * kHeight / kep::host::kReferenceHeight;
    const int bottom = (person.y + person.h) * kHeight / kep::host::kReferenceHeight;
    int different = 0;
    for (int y = top; y < bottom; ++y)
        for (int x = left; x < right; ++x) {
            const auto i = static_cast<std::size_t>(y * kWidth + x);
            different += std::abs(picture[i] - empty[i]) > kDifferent;
        }
    return different > kPersonPart * (right - left) * (bottom - top);
}

/** A people finder with its CPU time. */
class Finder {
  public:
    std::vector<FoundPerson> find(Pixels& picture) {
        frame_->data[0] = picture.data();
        frame_->linesize[0] = frame_->width = kWidth;
        frame_->height = kHeight;
        const std::clock_t begin = std::clock();
        std::vector<FoundPerson> people = finder_->find(*frame_);
        clocks_ += std::clock() - begin;
        ++pictures_;
        return people;
    }
    double milliseconds() const { return 1000.0 * static_cast<double>(clocks_) / CLOCKS_PER_SEC / pictures_; }

  private:
    std::string reason_;
    const std::unique_ptr<kep::host::PeopleFinder> finder_ = kep::host::PeopleFinder::make("", reason_);
    const kep::host::FramePtr frame_{av_frame_alloc()};
    std::clock_t clocks_ = 0;
    int pictures_ = 0;
};

void measureClip(std::vector<Pixels>& pictures) {
    const std::size_t step = pictures.size() / kSamples;
    const Pixels empty = medianOf(pictures, step);
    Finder finder;
    int found = 0, boxes = 0, right = 0;
    for (std::size_t n = 0; n < step * kSamples; ++n) {
        const std::vector<FoundPerson> people = finder.find(pictures[n]);
        if (n % step != step - 1) continue;
        const auto good = std::count_if(people.begin(), people.end(), [&](const FoundPerson& person) {
            return isSomeoneAt(person, pictures[n], empty);
        });
        found += good > 0;
        right += static_cast<int>(good);
        boxes += static_cast<int>(people.size());
    }
    std::printf("people_found %d\npeople_boxes %d\npeople_boxes_right_percent %.1f\npeople_picture_ms %.1f\n",
                found, boxes, boxes ? 100.0 * right / boxes : 0.0, finder.milliseconds());
}

/** @param shake pixels by which every other picture of a still is displaced */
int wrongStills(const std::vector<Pixels>& stills, int shake) {
    Finder finder;
    std::minstd_rand random(1);
    std::uniform_int_distribution<int> noise(-4, 4);
    int wrong = 0;
    for (std::size_t i = 0; i < stills.size(); ++i) {
        bool isWrong = false;
        for (int n = 0; n < kPicturesOfStill; ++n) {
            Pixels picture = stills[i];
            if (n % 2) std::rotate(picture.begin(), picture.begin() + shake, picture.end());
            for (std::uint8_t& value : picture)
                value = static_cast<std::uint8_t>(std::clamp(value + noise(random), 0, 255));
            isWrong |= !finder.find(picture).empty();
        }
        if (isWrong)
            std::fprintf(stderr, "false detection in still %zu, shaken by %d pixels\n", i + 1, shake);
        wrong += isWrong;
    }
    return wrong;
}

}  // namespace

int main(int count, char** arguments) {
    if (count != 3) return 2;
    std::vector<Pixels> clip = picturesOf(arguments[1]);
    if (clip.size() < kSamples) return 1;
    measureClip(clip);
    const std::vector<Pixels> stills = picturesOf(arguments[2]);
    std::printf("people_stills %zu\npeople_false %d\npeople_false_shaken %d\n", stills.size(),
                wrongStills(stills, 0), wrongStills(stills, kShake));
    return 0;
}
