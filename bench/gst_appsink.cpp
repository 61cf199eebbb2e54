/**
 * Latencies of the peer: the same stream by GStreamer, pulled from an appsink.
 *
 *   bench_gst_appsink [STARTS] [FRAMES]
 *
 * Prints one figure a line.
 */
#include <gst/app/gstappsink.h>
#include <gst/gst.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

const char* const kPipeline =
    "videotestsrc is-live=true pattern=smpte ! video/x-raw,format=I420,width=1920,height=1080,framerate=30/1 "
    "! "
    "queue max-size-buffers=4 ! "
    "x264enc speed-preset=ultrafast tune=zerolatency threads=1 bitrate=2000 key-int-max=15 ! "
    "video/x-h264,stream-format=byte-stream ! appsink name=sink sync=false";

double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values.empty() ? 0 : values[values.size() / 2];
}

struct Pipeline {
    Pipeline() : bin(gst_parse_launch(kPipeline, nullptr)) {
        if (!bin) std::exit(1);
        sink = GST_APP_SINK(gst_bin_get_by_name(GST_BIN(bin), "sink"));
    }
    ~Pipeline() {
        gst_element_set_state(bin, GST_STATE_NULL);
        gst_object_unref(sink);
        gst_object_unref(bin);
    }
    GstElement* bin;
    GstAppSink* sink;
};

/** Milliseconds from the capture time of a sample to now, by the pipeline's clock. */
double age(const Pipeline& pipeline, GstSample* sample) {
    GstClock* clock = gst_element_get_clock(pipeline.bin);
    const GstClockTime now = gst_clock_get_time(clock) - gst_element_get_base_time(pipeline.bin);
    gst_object_unref(clock);
    const GstBuffer* buffer = gst_sample_get_buffer(sample);
    const GstSegment* segment = gst_sample_get_segment(sample);
    const GstClockTime captured =
        gst_segment_to_running_time(segment, GST_FORMAT_TIME, GST_BUFFER_PTS(buffer));
    return static_cast<double>(static_cast<GstClockTimeDiff>(now - captured)) / 1e6;
}

}  // namespace

int main(int argc, char** argv) {
    const int starts = argc > 1 ? std::atoi(argv[1]) : 11;
    const int frames = argc > 2 ? std::atoi(argv[2]) : 300;
    gst_init(nullptr, nullptr);

    std::vector<double> first;
    for (int i = 0; i < starts; ++i) {
        Pipeline pipeline;
        const auto begin = Clock::now();
        gst_element_set_state(pipeline.bin, GST_STATE_PLAYING);
        GstSample* sample = gst_app_sink_pull_sample(pipeline.sink);
        if (!sample) return 1;
        first.push_back(std::chrono::duration<double, std::milli>(Clock::now() - begin).count());
        gst_sample_unref(sample);
    }

    std::vector<double> ages;
    Pipeline pipeline;
    gst_element_set_state(pipeline.bin, GST_STATE_PLAYING);
    for (int i = 0; i < frames + 60; ++i) {
        GstSample* sample = gst_app_sink_pull_sample(pipeline.sink);
        if (!sample) return 1;
        if (i >= 60) ages.push_back(age(pipeline, sample));
        gst_sample_unref(sample);
    }
    std::printf("gst_first_frame_ms %.2f\ngst_capture_to_pull_ms %.3f\n", median(first), median(ages));
    return 0;
}
