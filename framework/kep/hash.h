#ifndef KEP_HASH_H
#define KEP_HASH_H

#include <cstdint>

namespace kep {

/**
 * 32-bit FNV-1a over the bytes of `text` up to its terminating zero, each ASCII upper-case letter folded to
 * lower case first. Used to compare names of elements and messages.
 *
 * @param text may be null, which hashes to 0
 */
inline std::uint32_t Hash(const char* text) {
    if (!text) return 0;
    std::uint32_t hash = 0x811c9dc5u;
    for (; *text; ++text) {
        unsigned char byte = static_cast<unsigned char>(*text);
        if (byte >= 'A' && byte <= 'Z') byte = static_cast<unsigned char>(byte + ('a' - 'A'));
        hash = (hash ^ byte) * 16777619u;
    }
    return hash;
}

}  // namespace kep

#endif
