// Sets a zone, a stamp or a flip on demand, as a second program beside one that films. Reads lines such as
// "zone 1" or "flip 0" from stdin and answers each with the time at which it was done, in nanoseconds of the
// steady clock, or with 0 if it failed.
#include "image_setter.h"

#include <chrono>
#include <iostream>
#include <string>

#include "vornisa_api.h"

int main() {
    constexpr VNRes_Color kRed = 0xff0000;
    bool works = VNZonesSet(0, kZoneX, kZoneY, kSide, kSide, kRed) == VNRES_SUCCEED &&
                 VNStampInit(kSide, kSide, "") == VNRES_SUCCEED &&
                 VNStampSet(kStampX, kStampY, kRed, " ") == VNRES_SUCCEED &&
                 VNStampBgColorSet(0xff000000U | kRed) == VNRES_SUCCEED;
    std::string what;
    for (int on = 0; std::cin >> what >> on;) {
        if (what == "zone")
            works = VNZonesEnable(0, on) == VNRES_SUCCEED && works;
        else if (what == "stamp")
            works = VNStampEnable(on) == VNRES_SUCCEED && works;
        else
            works = VNTurnVideo(on) == VNRES_SUCCEED && works;
        const auto done = std::chrono::steady_clock::now().time_since_epoch();
        std::cout << (works ? std::chrono::duration_cast<std::chrono::nanoseconds>(done).count() : 0)
                  << std::endl;
    }
}
