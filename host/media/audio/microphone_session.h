#ifndef KEP_HOST_MICROPHONE_SESSION_H
#define KEP_HOST_MICROPHONE_SESSION_H

#include <memory>

#include "media/audio/audio_input.h"
#include "media/audio/volume.h"
#include "media/hub/lease.h"

namespace kep::host {

/** One run of the microphone. It ends when its last consumer leaves. */
class MicrophoneSession final : public CaptureSession {
  public:
    using Item = SharedBlock;

    explicit MicrophoneSession(const DeviceSpec& device);
    ~MicrophoneSession() override;

    Hub<SharedBlock>& hub() { return hub_; }
    /** Fixed once it is open. */
    AudioFormat format() const { return captured_.format; }

  private:
    class BlockBuilder;

    bool open(std::string& reason) override;
    bool read(std::string& reason) override;
    SteadyTime due() const override { return due_; }
    void publish() override;
    void close() override { input_.reset(); }
    void endHub() override { hub_.end(); }
    void interrupt() override { isStopped_ = true; }

    std::atomic<bool> isStopped_{false};
    // Used by the capture thread only, except hub_.
    std::unique_ptr<AudioInput> input_;
    AudioBlock captured_;
    SteadyTime due_;
    Gain gain_{microphoneVolume()};
    std::unique_ptr<BlockBuilder> builder_;
    Hub<SharedBlock> hub_;
};

/** One consumer's share of the process's microphone. */
class MicrophoneLease final : public Lease<MicrophoneSession> {
  public:
    /** Null, with an error line, when the microphone cannot be opened. */
    static std::shared_ptr<MicrophoneLease> open(LeaseListener listener);

    ~MicrophoneLease() override { close(); }

    AudioFormat format() const { return session().format(); }

  private:
    MicrophoneLease(std::shared_ptr<MicrophoneSession> session, LeaseListener listener);
};

}  // namespace kep::host

#endif
