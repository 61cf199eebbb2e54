#include "vision/people.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <fstream>
#include <opencv2/imgproc.hpp>
#include <opencv2/objdetect.hpp>

#include "picture/reference_frame.h"
#include "vision/people_tracks.h"

namespace kep::host {
namespace {

/**
 * Half the reference frame: the detector's window of 128 rows finds people from a sixth of the picture's
 * height. Larger finds smaller people, at a cost that grows with the area and with more false positives.
 */
const cv::Size kSearchSize(960, 540);
/** Picture size for motion detection: larger costs time, smaller misses distant people. */
const cv::Size kMotionSize(240, 135);

/** Steps of 10 % between the sizes searched: 5 % takes twice the time, 15 % misses one person in ten. */
constexpr double kSizeStep = 1.1;
/** Overlapping windows required for a person. With one, many fences would be taken for people. */
constexpr double kAgreeing = 2;
/** Minimum scores of a box with and without motion: without, most boxes are furniture. */
constexpr double kMovingScore = 0.5;
constexpr double kStillScore = 1.5;

/** Grey levels by which a moving pixel differs from the background: smaller differences are noise. */
constexpr double kMotionLevels = 20;
/** Fraction of a box that must move: a person fills about a third of it. */
constexpr double kMotionOfBox = 0.1;
/** Fraction of the picture above which a change is a new scene or light: motion is then unknown. */
constexpr double kMotionOfScene = 0.5;
/** Weight of each picture in the background: a person who stands still fades into it in some 20 pictures. */
constexpr double kBackgroundRate = 0.05;

/** Margin around a person on each side, as a fraction of the detector's window. */
constexpr double kMargin = 0.1;

/** Detects motion by comparison with a running mean of the pictures. */
class Motion {
  public:
    /** Adds the next picture; true if the scene has changed. */
    bool update(const cv::Mat& luma) {
        cv::Mat small;
        cv::resize(luma, small, kMotionSize, 0, 0, cv::INTER_AREA);
        if (background_.empty()) small.convertTo(background_, CV_32F);
        cv::Mat known;
        background_.convertTo(known, CV_8U);
        cv::absdiff(small, known, moving_);
        cv::threshold(moving_, moving_, kMotionLevels, 1, cv::THRESH_BINARY);
        const bool isNew = cv::mean(moving_)[0] > kMotionOfScene;
        if (isNew) {
            small.convertTo(background_, CV_32F);
            moving_.setTo(0);
        } else {
            cv::accumulateWeighted(small, background_, kBackgroundRate);
        }
        return isNew;
    }

    /** Whether something moves in a part of the search picture. */
    bool isIn(const cv::Rect& box) const {
        const int scale = kSearchSize.width / kMotionSize.width;
        const cv::Rect part = cv::Rect(box.x / scale, box.y / scale, box.width / scale, box.height / scale) &
                              cv::Rect(cv::Point(), kMotionSize);
        return !part.empty() && cv::mean(moving_(part))[0] > kMotionOfBox;
    }

  private:
    cv::Mat background_; /**< mean of the pictures, the newest with the most weight */
    cv::Mat moving_;     /**< 1 where something moves */
};

class HistogramFinder final : public PeopleFinder {
  public:
    explicit HistogramFinder(const cv::HOGDescriptor& detector) : detector_(detector) {}

    std::vector<FoundPerson> find(const AVFrame& picture) override {
        const cv::Mat luma(picture.height, picture.width, CV_8U, picture.data[0],
                           static_cast<std::size_t>(picture.linesize[0]));
        cv::Mat searched;
        cv::resize(luma, searched, kSearchSize, 0, 0,
                   picture.width > kSearchSize.width ? cv::INTER_AREA : cv::INTER_LINEAR);
        if (motion_.update(searched)) tracks_ = {};
        std::vector<cv::Rect> boxes;
        std::vector<double> scores;
        detector_.detectMultiScale(searched, boxes, scores, 0, cv::Size(8, 8), cv::Size(), kSizeStep,
                                   kAgreeing);
        std::vector<PersonBox> seen;
        for (std::size_t i = 0; i < boxes.size(); ++i) {
            const cv::Rect& box = boxes[i];
            if (scores[i] < kMovingScore || (scores[i] < kStillScore && !motion_.isIn(box))) continue;
            seen.push_back({double(box.x), double(box.y), double(box.width), double(box.height), scores[i]});
        }
        std::vector<FoundPerson> people;
        for (const PersonBox& box : tracks_.update(seen))
            if (const FoundPerson person = inFrame(box); person.w > 0 && person.h > 0)
                people.push_back(person);
        return people;
    }

  private:
    static FoundPerson inFrame(const PersonBox& box) {
        const auto edge = [](double place, int size, int searched) {
            return static_cast<int>(std::lround(std::clamp(place * size / searched, 0.0, double(size))));
        };
        const auto across = [&](double x) { return edge(x, kReferenceWidth, kSearchSize.width); };
        const auto down = [&](double y) { return edge(y, kReferenceHeight, kSearchSize.height); };
        const int left = across(box.x + kMargin * box.w), right = across(box.x + (1 - kMargin) * box.w);
        const int top = down(box.y + kMargin * box.h), bottom = down(box.y + (1 - kMargin) * box.h);
        return {left, top, right - left, bottom - top, box.score};
    }

    const cv::HOGDescriptor detector_;
    Motion motion_;
    PeopleTracks tracks_;
};

/** Loads a detector from a file. */
bool load(cv::HOGDescriptor& detector, const std::string& model, std::string& reason) {
    if (!std::ifstream(model)) {
        reason = std::strerror(errno);
        return false;
    }
    try {
        if (detector.load(model) && detector.checkDetectorSize() && !detector.svmDetector.empty())
            return true;
    } catch (const cv::Exception&) {  // its text quotes a failed assertion in OpenCV's source
    }
    reason = "not an OpenCV HOGDescriptor model";
    return false;
}

}  // namespace

PeopleFinder::~PeopleFinder() = default;

std::unique_ptr<PeopleFinder> PeopleFinder::make(const std::string& model, std::string& reason) {
    // OpenCV gets one thread: streams need the other cores.
    cv::setNumThreads(1);
    cv::HOGDescriptor detector;
    if (model.empty())
        detector.setSVMDetector(cv::HOGDescriptor::getDefaultPeopleDetector());
    else if (!load(detector, model, reason))
        return nullptr;
    return std::make_unique<HistogramFinder>(detector);
}

}  // namespace kep::host
