#include "box_editor.h"

#include <algorithm>
#include <cctype>
#include <sstream>
#include <stdexcept>
#include <vector>

namespace box_editor {

namespace {

constexpr std::size_t kHeader = 8;

/** The boxes along a path, outermost first. */
std::vector<Box> boxesAlong(const std::string& file, const std::string& path) {
    std::vector<Box> found;
    std::size_t at = 0;
    std::size_t end = file.size();
    std::istringstream names(path);
    for (std::string name; std::getline(names, name, '/');) {
        const std::string kind = name.substr(0, 4);
        int skipped = name.size() > 4 ? std::stoi(name.substr(4)) : 0;
        bool isFound = false;
        while (!isFound && at + kHeader <= end) {
            const Box box{at, at + number(file, at, 4)};
            isFound = file.compare(at + 4, 4, kind) == 0 && skipped-- == 0;
            at = box.end;
            if (isFound) found.push_back(box);
        }
        if (!isFound) throw std::runtime_error("no " + path);
        at = found.back().contents();
        end = found.back().end;
    }
    return found;
}

/** The boxes directly inside `contents`. */
std::vector<std::string> boxesIn(const std::string& contents) {
    std::vector<std::string> boxes;
    for (std::size_t at = 0; at + kHeader <= contents.size(); at += boxes.back().size())
        boxes.push_back(contents.substr(at, std::max<std::size_t>(number(contents, at, 4), kHeader)));
    return boxes;
}

std::string kindOf(const std::string& box) {
    return box.substr(4, 4);
}

}  // namespace

Box find(const std::string& file, const std::string& path) {
    return boxesAlong(file, path).back();
}

std::uint64_t number(const std::string& file, std::size_t at, std::size_t count) {
    std::uint64_t value = 0;
    for (std::size_t i = 0; i < count; ++i) value = value << 8 | static_cast<unsigned char>(file.at(at + i));
    return value;
}

void put(std::string& file, std::size_t at, std::uint64_t value, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) file.at(at + i) = static_cast<char>(value >> 8 * (count - 1 - i));
}

std::string box(const std::string& kind, const std::string& contents) {
    std::string made(4, '\0');
    put(made, 0, contents.size() + kHeader);
    return made + kind + contents;
}

void replace(std::string& file, const std::string& path, const std::string& by) {
    const std::vector<Box> boxes = boxesAlong(file, path);
    const Box last = boxes.back();
    for (const Box& around : boxes)
        put(file, around.begin, around.end - around.begin + by.size() - (last.end - last.begin));
    file.replace(last.begin, last.end - last.begin, by);
}

void changeFragments(std::string& file, const std::string& kind,
                     const std::function<std::string(const std::string& box)>& change,
                     std::size_t dataHeader) {
    std::string made;
    for (const std::string& top : boxesIn(file)) {
        if (kindOf(top) == "mdat" && dataHeader != kHeader) {
            std::string header = std::string("\0\0\0\1mdat", kHeader) + std::string(kHeader, '\0');
            put(header, kHeader, top.size() + kHeader, 8);
            made += header + top.substr(kHeader);
            continue;
        }
        if (kindOf(top) != "moof") {
            made += top;
            continue;
        }
        std::string contents;
        for (const std::string& part : boxesIn(top.substr(kHeader))) {
            std::string inner;
            for (const std::string& each : boxesIn(part.substr(kHeader)))
                inner += kindOf(each) == kind ? change(each) : each;
            contents += kindOf(part) == "traf" ? box("traf", inner) : part;
        }
        std::string moof = box("moof", contents);
        const std::uint64_t moved = moof.size() - top.size() + dataHeader - kHeader;
        constexpr std::size_t kDistance = 16;  // of a `trun` box: after its flags and its count
        for (std::size_t at = moof.find("trun"); at != std::string::npos; at = moof.find("trun", at + 4))
            put(moof, at - 4 + kDistance, number(moof, at - 4 + kDistance, 4) + moved);
        made += moof;
    }
    file = made;
}

}  // namespace box_editor
