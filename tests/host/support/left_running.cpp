// A recording may be left running when its process ends, and a test does so: its threads are never joined.
extern "C" __attribute__((visibility("default"))) const char* __tsan_default_options();

const char* __tsan_default_options() {
    return "report_thread_leaks=0";
}
