// One test leaves a recording running when its process ends, as is allowed: its threads are never joined.
extern "C" __attribute__((visibility("default"))) const char* __tsan_default_options();

const char* __tsan_default_options() {
    return "report_thread_leaks=0";
}
