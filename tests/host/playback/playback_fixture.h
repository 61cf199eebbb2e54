#ifndef VORNISA_PLAYBACK_FIXTURE_H
#define VORNISA_PLAYBACK_FIXTURE_H

#include <atomic>
#include <functional>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "vornisa_api.h"

/** A packet as the application received it. */
struct PlayedPacket {
    bool video;
    bool key;
    std::int64_t milliseconds;
    std::string data;
    VNMedia* media;

    int size() const { return static_cast<int>(data.size()); }
};

/** Plays a file through the public header and keeps its packets. Only one instance at a time. */
class Playback {
  public:
    Playback();
    ~Playback();
    Playback(const Playback&) = delete;
    Playback& operator=(const Playback&) = delete;

    /** Returns the result of VNDemuxSet. */
    int open(const std::string& path, std::int64_t seek = 0);
    std::int64_t duration() const { return duration_; }
    int id() const { return id_; }

    void start();
    /** Waits for the next end-of-file message. */
    bool waitForEnd();
    int ends();
    /** Opens, starts and waits for the end. */
    bool playAll(const std::string& path, std::int64_t seek = 0);
    void release();

    std::vector<PlayedPacket> packets();
    std::vector<PlayedPacket> packets(bool video);
    /** The concatenated data of all packets of a kind. */
    std::string stream(bool video);
    std::vector<std::string> tracks();
    std::size_t threads();
    void clear();

    /** Called with each packet before it is kept, on a thread of the framework. */
    std::function<void(const VNDemuxPacket&)> onPacket;
    /** Number of callbacks that began after the release had returned. */
    int calledLate() const { return calledLate_; }

  private:
    static void take(const VNDemuxPacket* packet);
    void keep(const VNDemuxPacket& packet);
    static void takeTrack(const VNDemuxTrack* track);
    static void takeMessage(const char* message);

    int id_ = 0;
    std::atomic<bool> released_{false};
    std::atomic<int> calledLate_{0};
    std::atomic<int> inside_{0}; /**< packet callbacks in progress */
    std::int64_t duration_ = -1;
    std::mutex mutex_;
    std::vector<PlayedPacket> packets_;
    std::vector<std::string> tracks_;
    std::vector<VNMedia*> media_;
    std::set<std::thread::id> threads_;
    int ends_ = 0;
    int awaited_ = 0;
};

#endif
