#include "sample_recording.h"

#include <stdexcept>

#include "pipeline_fixture.h"

namespace kep::host {
namespace {

/** Puts a file layer in use while it lives. */
class InUse {
  public:
    explicit InUse(FileLayer& layer) { FileLayer::use(&layer); }
    ~InUse() { FileLayer::use(nullptr); }
    InUse(const InUse&) = delete;
    InUse& operator=(const InUse&) = delete;
};

void must(bool done, const char* reason) {
    if (!done) throw std::runtime_error(reason);
}

}  // namespace

SampleRecording::SampleRecording(const SampleStream& sample, int secondsOfSegment) : stream(sample) {
    std::size_t captured = 0;
    StepLog log([&] { return captured; });
    const InUse inUse(log);
    // No queue between: each packet has gone all its way before the next is captured.
    Described recorder(
        "type=application,layout={type=pipeline,layout={TestSource:name=src+VornisaSeamless:name=seamless,"
        "duration=" +
        std::to_string(secondsOfSegment) +
        "s+muxer-fmp4:name=muxer,flush=true,url={file:///sd/rec.mp4,temp_ext_name=part}}}");
    must(recorder && recorder.play(), "the recorder does not start");
    TestSource& source = recorder.child<TestSource>("src");
    const SteadyTime begin = stream.packets.front()->stamp;
    for (std::size_t i = 0; i < stream.packets.size(); ++i) {
        const MediaPacket& packet = *stream.packets[i];
        const auto due = begin + std::chrono::seconds(secondsOfSegment) * segments.size();
        if (packet.isVideo() && packet.key && packet.stamp >= due) {
            if (!segments.empty()) segments.back().end = i;
            segments.push_back({"", i, stream.packets.size()});
        }
        captured = i + 1;
        source.push(stream.packets[i]);
    }
    must(recorder.stop(), "the recorder does not stop");
    steps = log.steps();
    std::size_t named = 0;
    for (const Step& step : steps) {
        if (step.kind == Step::Kind::rename && named < segments.size()) segments[named++].path = step.to;
    }
    must(named == segments.size(), "not every segment has got its name");
}

}  // namespace kep::host
