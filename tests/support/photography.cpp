#include "photography.h"

namespace scripted {

bool Photography::Snap(const char* url, bool wait) {
    return step("IPhotography::Snap", std::string(url) + "," + (wait ? "true" : "false"));
}
bool Photography::Snap(bool wait) {
    return step("IPhotography::Snap", wait ? "true" : "false");
}
void Photography::SetWidth(int pixels) {
    step("IPhotography::SetWidth", std::to_string(pixels));
}
void Photography::SetHeight(int pixels) {
    step("IPhotography::SetHeight", std::to_string(pixels));
}
void Photography::SetQuality(int percent) {
    step("IPhotography::SetQuality", std::to_string(percent));
}
void Photography::SetSourceIndex(int index) {
    step("IPhotography::SetSourceIndex", std::to_string(index));
}
void Photography::SetUrl(const char* url) {
    step("IPhotography::SetUrl", url);
}

}  // namespace scripted
