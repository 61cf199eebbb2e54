#include <pthread.h>

#include <condition_variable>
#include <thread>

#include "media/audio/audio_hub.h"
#include "media/common/filming.h"
#include "media/common/retry_pause.h"
#include "media/pipeline/element.h"
#include "objects/class_registry.h"

namespace kep::host {
namespace {

/**
 * What the microphone hears, in its own format. It starts whether or not there is a microphone, and looks for
 * one again while there is none: nothing that also has pictures is to depend on it.
 */
class MicrophoneElement final : public SourceElement {
  public:
    MicrophoneElement() {
        filmingBegins();
        tap_.onLost = [this](std::size_t blocks) { tellLost(host::Media::Kind::audio, blocks); };
        tap_.onDeviceLost = [this](const std::string& device) {
            tell("deviceLost", "media=audio,device={" + device + "}");
        };
    }
    ~MicrophoneElement() override { retire(); }

  protected:
    bool up(State target) override {
        if (target != State::play) return true;
        stopping_ = false;
        thread_ = std::thread([this] { work(); });
        return true;
    }

    bool down(State) override {
        {
            const std::lock_guard lock(mutex_);
            stopping_ = true;
        }
        changed_.notify_all();
        tap_.blocks.queue().finish();
        if (thread_.joinable()) thread_.join();
        return true;
    }

  private:
    void work() {
        pthread_setname_np(pthread_self(), "mic-element");
        RetryPause pause;
        do {
            const std::optional<AudioFormat> format = AudioHub::instance().attach(tap_);
            if (!format) continue;
            pause.reset();
            // Asked to stop meanwhile, it has opened the queue again and would wait for ever.
            if (!waitToStop(std::chrono::seconds(0))) giveAll(*format);
            AudioHub::instance().detach(tap_);
        } while (!waitToStop(pause.next()));
    }

    bool waitToStop(std::chrono::seconds limit) {
        std::unique_lock lock(mutex_);
        return changed_.wait_until(lock, std::chrono::steady_clock::now() + limit,
                                   [this] { return stopping_; });
    }

    void giveAll(AudioFormat format) {
        auto media = std::make_shared<host::Media>();
        media->kind = host::Media::Kind::audio;
        media->codec = AV_CODEC_ID_PCM_S16LE;
        media->sampleRate = format.rate;
        media->channels = format.channels;
        const auto giveOne = [&](const SharedBlock& block) {
            auto packet = std::make_shared<MediaPacket>();
            packet->media = media;
            packet->stamp = block->stamp;
            packet->duration = format.duration(block->frames());
            packet->size = static_cast<int>(block->samples.size() * sizeof(std::int16_t));
            packet->bytes = {block, reinterpret_cast<const std::uint8_t*>(block->samples.data())};
            give(packet);
        };
        tap_.blocks.serve(giveOne, [this] { return givesPromptly(); });
    }

    AudioTap tap_;
    std::mutex mutex_;
    std::condition_variable changed_;
    bool stopping_ = false;
    std::thread thread_;
};

const ClassRegistration<MicrophoneElement> registration("MicSrc");

}  // namespace
}  // namespace kep::host
