#include "sample_recording.h"

#include <stdexcept>

#include "pipeline_fixture.h"
#include "wait_until.h"

namespace kep::host {
namespace {

constexpr double kRounding = 0.01; /**< seconds; less than a picture */

void must(bool done, const char* reason) {
    if (!done) throw std::runtime_error(reason);
}

double secondsBetween(const MediaPacket& one, const MediaPacket& other) {
    return std::chrono::duration<double>(other.stamp - one.stamp).count();
}

}  // namespace

SampleRecording::SampleRecording(const SampleStream& sample, int secondsOfSegment, const std::string& muxer)
    : stream(sample) {
    const bool isProtected = muxer.find("flush=true") != muxer.npos;
    double captured = 0;
    StepLog log([&] { return captured; });
    const InUse inUse(log);
    Described recorder(
        "type=application,layout={type=pipeline,layout={TestSource:name=src+VornisaSeamless:name=seamless,"
        "duration=" +
        std::to_string(secondsOfSegment) + "s+" + muxer +
        ",name=muxer,url={file:///sd/rec.mp4,temp_ext_name=part}}}");
    must(recorder && recorder.play(), "cannot start the recorder");
    TestSource& source = recorder.child<TestSource>("src");
    const ObjectImpl& writer = recorder.child<ObjectImpl>("muxer");
    const MediaPacket& first = *stream.packets.front();
    for (std::size_t i = 0; i < stream.packets.size(); ++i) {
        const MediaPacket& packet = *stream.packets[i];
        const double age = secondsBetween(first, packet);
        const double due = secondsOfSegment * static_cast<double>(segments.size());
        if (packet.isVideo() && packet.key && age > due - kRounding) {
            if (!segments.empty()) segments.back().end = i;
            segments.push_back({"", i, stream.packets.size()});
        }
        captured = age;
        source.push(stream.packets[i]);
        // Each packet is written before the next one is captured.
        must(waitUntil([&] { return *writer.text("queued") == "0"; }), "the muxer does not drain its queue");
        noteNames(log);
    }
    must(recorder.stop(), "cannot stop the recorder");
    noteNames(log);
    steps = log.steps();
    must(told.size() == segments.size(), "not every segment has its final name");
    for (std::size_t i = 0; i < segments.size(); ++i) {
        segments[i].path = told[i].path;
        if (!isProtected) continue;
        begins[told[i].path] = secondsBetween(first, *stream.packets[segments[i].begin]);
    }
}

void SampleRecording::noteNames(const StepLog& log) {
    for (; noted_ < log.steps().size(); ++noted_) {
        const Step& step = log.steps()[noted_];
        if (step.kind == Step::Kind::rename) told.push_back({step.to, log.count()});
    }
}

}  // namespace kep::host
