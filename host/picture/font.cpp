#include "picture/font.h"

#include <ft2build.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <set>
#include <utility>

#include FT_FREETYPE_H

#include "objects/log.h"
#include "objects/mutex.h"
#include "picture/font_file.h"

namespace kep::host {
namespace {

/** FreeType's units per pixel. */
constexpr double kParts = 64;
/** Font files that one Font loads, with those for characters that it lacks; each may take megabytes. */
constexpr std::size_t kMostFaces = 8;
/** Error lines about fonts per process: any program may keep writing new font names into a stamp. */
constexpr std::size_t kMostLines = 64;

void tellOnce(const std::string& line) {
    static Mutex& mutex = *new Mutex;
    static std::set<std::string>& told = *new std::set<std::string>;
    const MutexLock lock(mutex);
    if (told.size() < kMostLines && told.insert(line).second) KEP_HOST_ERROR(line);
}

struct Library {
    Library() { FT_Init_FreeType(&library); }
    Library(const Library&) = delete;
    Library& operator=(const Library&) = delete;
    ~Library() { FT_Done_FreeType(library); }
    FT_Library library = nullptr;
};

}  // namespace

/** A FreeType font loaded into memory: changing its file while it is used does no harm. */
class Font::Face {
  public:
    /** Null, with `reason` filled, if the file cannot be read or is not a scalable font. */
    static std::unique_ptr<Face> open(const FontFile& file, std::string& reason) {
        auto bytes = readFontFile(file.path, reason);
        if (!bytes) return nullptr;
        std::unique_ptr<Face> face(new Face(std::move(*bytes)));
        if (FT_New_Memory_Face(face->library_.library, face->bytes_.data(),
                               static_cast<FT_Long>(face->bytes_.size()), file.index, &face->face_) != 0 ||
            !FT_IS_SCALABLE(face->face_) || face->face_->ascender <= face->face_->descender) {
            reason = "not a scalable font";
            return nullptr;
        }
        return face;
    }
    Face(const Face&) = delete;
    Face& operator=(const Face&) = delete;
    ~Face() {
        if (face_) FT_Done_Face(face_);
    }

    /** In ems. */
    double lineHeight() const { return inEms(face_->ascender - face_->descender); }
    double ascent() const { return inEms(face_->ascender); }
    /** Of a digit; in most fonts all digits have the same width. */
    double figureWidth() const {
        if (FT_Load_Char(face_, '0', FT_LOAD_NO_SCALE) != 0 || face_->glyph->advance.x <= 0) return 0.5;
        return inEms(face_->glyph->advance.x);
    }
    void setSize(double emWidth, double emHeight) {
        const auto size = [](double pixels) {
            return static_cast<FT_F26Dot6>(std::max(kParts, std::round(pixels * kParts)));
        };
        FT_Set_Char_Size(face_, size(emWidth), size(emHeight), 72, 72);
    }
    bool has(char32_t character) const { return FT_Get_Char_Index(face_, character) != 0; }

    Glyph draw(char32_t character) {
        Glyph glyph;
        if (FT_Load_Char(face_, character, FT_LOAD_TARGET_LIGHT | FT_LOAD_NO_BITMAP) != 0) return glyph;
        FT_GlyphSlotRec* const slot = face_->glyph;
        // Whole pixels: the same letters then look the same everywhere in a line.
        glyph.advance = static_cast<int>(std::lround(static_cast<double>(slot->linearHoriAdvance) / 65536));
        if (FT_Render_Glyph(slot, FT_RENDER_MODE_NORMAL) != 0) return glyph;
        const FT_Bitmap& bitmap = slot->bitmap;
        if (bitmap.pixel_mode != FT_PIXEL_MODE_GRAY || bitmap.pitch < 0) return glyph;
        glyph.left = slot->bitmap_left;
        glyph.top = slot->bitmap_top;
        glyph.width = static_cast<int>(bitmap.width);
        glyph.height = static_cast<int>(bitmap.rows);
        glyph.coverage.resize(std::size_t{bitmap.width} * bitmap.rows);
        for (std::size_t row = 0; row < bitmap.rows && bitmap.width > 0; ++row)
            std::memcpy(&glyph.coverage[row * bitmap.width],
                        bitmap.buffer + row * static_cast<std::size_t>(bitmap.pitch), bitmap.width);
        return glyph;
    }

  private:
    explicit Face(std::vector<unsigned char> bytes) : bytes_(std::move(bytes)) {}
    double inEms(FT_Pos units) const {
        return static_cast<double>(units) / std::max<FT_UShort>(face_->units_per_EM, 1);
    }

    const std::vector<unsigned char> bytes_;
    Library library_;
    FT_Face face_ = nullptr;
};

std::unique_ptr<Font> Font::open(const std::string& name, double cellWidth, double lineHeight) {
    std::string reason;
    std::unique_ptr<Face> face;
    if (!name.empty()) {
        const auto file = fontNamed(name);
        if (file) face = Face::open(*file, reason);
        if (!file) reason = "not installed";
    }
    if (!face) {
        const auto file = defaultFont();
        std::string none = "none is installed";
        if (file) face = Face::open(*file, none);
        if (!face) {
            tellOnce("no font for stamps: " + none);
            return nullptr;
        }
        if (!name.empty()) tellOnce("font " + name + ": using " + file->family + " instead: " + reason);
    }
    return std::unique_ptr<Font>(new Font(std::move(face), cellWidth, lineHeight));
}

Font::Font(std::unique_ptr<Face> face, double cellWidth, double lineHeight)
    : emWidth_(cellWidth / face->figureWidth()),
      emHeight_(lineHeight / face->lineHeight()),
      ascent_(static_cast<int>(std::lround(emHeight_ * face->ascent()))),
      lineHeight_(std::max(1, static_cast<int>(std::lround(lineHeight)))) {
    face->setSize(emWidth_, emHeight_);
    faces_.push_back(std::move(face));
}

Font::~Font() = default;

Font::Face* Font::faceWith(char32_t character) {
    for (const auto& face : faces_)
        if (face->has(character)) return face.get();
    const auto file = faces_.size() < kMostFaces ? fontWith(character) : std::nullopt;
    std::string reason;
    auto face = file ? Face::open(*file, reason) : nullptr;
    if (!face || !face->has(character)) return faces_.front().get();
    face->setSize(emWidth_, emHeight_);
    faces_.push_back(std::move(face));
    return faces_.back().get();
}

const Glyph& Font::glyph(char32_t character) {
    const auto known = glyphs_.find(character);
    if (known != glyphs_.end()) return known->second;
    Glyph glyph = faceWith(character)->draw(character);
    const std::size_t bytes = sizeof glyph + glyph.coverage.size();
    if (bytes_ + bytes > kMostBytes) {
        glyphs_.clear();
        bytes_ = 0;
    }
    bytes_ += bytes;
    return glyphs_.emplace(character, std::move(glyph)).first->second;
}

}  // namespace kep::host
