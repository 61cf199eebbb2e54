// Libraries that are not built here are not instrumented: the thread sanitizer sees their calls of memcpy or
// free, but not the atomics and futexes by which they order them, and takes that for races. What these
// libraries call is not checked, in whatever thread; their mutexes still order what we do. All code of ours
// stays checked, also where such a library calls it. (A `race:` suppression would hide our part of every
// stack that passes through the library.)
//
// Each pattern must match one loaded library, and that must stay loaded.
extern "C" __attribute__((visibility("default"))) const char* __tsan_default_suppressions();

const char* __tsan_default_suppressions() {
    return
        // Threads for lookahead and slices, with buffers passed by counters.
        "called_from_lib:libx264.so\n"
        // A thread pool that finds its work in atomic bit maps, and buffers freed by their last user.
        "called_from_lib:libx265.so\n"
        // libx265 queries the processors; the first query fills tables without a lock.
        "called_from_lib:libnuma.so\n"
        // Frame threads of decoders, which wait for each other by atomic progress counters.
        "called_from_lib:libavcodec.so\n"
        // Reference-counted buffers: the last atomic decrement frees the memory, on any thread.
        "called_from_lib:libavutil.so\n"
        // Takes packets from its own capture threads and writes them into ours.
        "called_from_lib:libavformat.so\n"
        "called_from_lib:libavdevice.so\n"
        // A decoder's buffers in, ours out: both are ordered by libavutil's counters.
        "called_from_lib:libavfilter.so\n"
        "called_from_lib:libswscale.so\n"
        "called_from_lib:libswresample.so\n"
        // Slice and tile threads of the other decoders that a looped file may need.
        "called_from_lib:libdav1d.so\n"
        "called_from_lib:libaom.so\n"
        "called_from_lib:libvpx.so\n"
        // Copies samples between its thread, the server's shared memory and ours; queues without locks.
        "called_from_lib:libpulse.so\n"
        "called_from_lib:libpulsecommon-\n"
        // Its configuration and hook lists are shared between threads under the caller's care.
        "called_from_lib:libasound.so\n"
        // Used by libpulse and the filters: message queues and lists of free blocks without locks.
        "called_from_lib:libdbus-1.so\n"
        "called_from_lib:libglib-2.0.so\n"
        // Teams of threads wait on futexes.
        "called_from_lib:libgomp.so\n"
        // Fills rows of ours; no threads, but its tables are initialised by atomics.
        "called_from_lib:libjpeg.so\n"
        // Its settings and caches have atomic reference counts; our lock orders our calls.
        "called_from_lib:libfontconfig.so\n"
        // Draws into bitmaps of its own; a face belongs to one thread at a time.
        "called_from_lib:libfreetype.so\n";
}
