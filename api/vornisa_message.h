/**
 * @file
 * Reads messages, and the descriptions of tracks: attribute text such as "name=frameLost,media=video,lost=3".
 * Include it where it is needed, beside vornisa_api.h. It calls nothing of the library and takes no memory,
 * so its functions may be called on any thread.
 *
 * A value that has commas stands in braces: "name=recordStop,url={file:///a,b.mp4}".
 */
#ifndef VORNISA_MESSAGE_H
#define VORNISA_MESSAGE_H

#include <limits.h>
#include <stdint.h>
#include <string.h>

#ifdef __cplusplus
extern "C" {
#endif

/**
 * Copies the value of a key.
 *
 * @param message in: the message; not null
 * @param key     in: the key; not null. Upper and lower case differ
 * @param value   out: the value without the braces around it, cut to `size` - 1 bytes, with a terminating
 * zero; an empty text when the key is absent. Null where `size` is 0
 * @param size    bytes that `value` has room for; 0 to ask for the length alone
 *
 * @return the length of the whole value in bytes, also where it was cut; -1 when the message has no such key
 */
static inline int VNMessageValue(const char* message, const char* key, char* value, int size) {
    const size_t wanted = strlen(key);
    if (size > 0) value[0] = '\0';
    while (*message) {
        const char* const item = message;
        int depth = 0;
        for (; *message && (depth > 0 || *message != ','); ++message) {
            if (*message == '{') ++depth;
            if (*message == '}') --depth;
        }
        if ((size_t)(message - item) > wanted && memcmp(item, key, wanted) == 0 && item[wanted] == '=') {
            const char* begin = item + wanted + 1;
            const char* end = message;
            if (end - begin >= 2 && *begin == '{' && end[-1] == '}') {
                ++begin;
                --end;
            }
            if (end - begin > INT_MAX) return -1;
            const int length = (int)(end - begin);
            if (size > 0) {
                const int copied = length < size ? length : size - 1;
                memcpy(value, begin, (size_t)copied);
                value[copied] = '\0';
            }
            return length;
        }
        if (*message) ++message;
    }
    return -1;
}

/**
 * Reads a whole number in decimal.
 *
 * @param message in: the message; not null
 * @param key     in: the key; not null
 * @param number  out: the number; unchanged when there is none. Not null
 *
 * @return 1 when the value is a number of 64 bits, 0 when it is none or the key is absent
 */
static inline int VNMessageNumber(const char* message, const char* key, int64_t* number) {
    char text[24];
    const int length = VNMessageValue(message, key, text, (int)sizeof text);
    const int negative = text[0] == '-';
    uint64_t magnitude = 0;
    const uint64_t largest = (uint64_t)INT64_MAX + (negative ? 1u : 0u);
    int i = negative;
    if (length <= i || length >= (int)sizeof text) return 0;
    for (; i < length; ++i) {
        const unsigned digit = (unsigned)(text[i] - '0');
        if (digit > 9 || magnitude > (largest - digit) / 10) return 0;
        magnitude = magnitude * 10 + digit;
    }
    *number = negative ? (int64_t)(0 - magnitude) : (int64_t)magnitude;
    return 1;
}

/** Whether a message has that name: 1 or 0. Both texts are not null. */
static inline int VNMessageIs(const char* message, const char* name) {
    char text[64];
    return VNMessageValue(message, "name", text, (int)sizeof text) == (int)strlen(name) &&
           strcmp(text, name) == 0;
}

#ifdef __cplusplus
}
#endif

/**
 * Defines a callback for VNRegisterMessageCallback that knows whose messages it gets. The messages of a
 * stream do not say which stream speaks, and a callback has no parameter of the caller's: so each stream gets
 * a callback of its own, made by this macro outside of any function.
 *
 *     static void onMessage(struct Camera* camera, const char* message);
 *     static struct Camera front, yard;
 *     VN_MESSAGE_CALLBACK(onFrontMessage, onMessage, &front)
 *     VN_MESSAGE_CALLBACK(onYardMessage, onMessage, &yard)
 *     ...
 *     VNRegisterMessageCallback(front.id, onFrontMessage);
 *
 * @param callback the name of the callback that is defined
 * @param handler  a function that is given `whose` and the message
 * @param whose    an expression of variables outside of functions, evaluated for each message
 */
#define VN_MESSAGE_CALLBACK(callback, handler, whose) \
    static void callback(const char* message) {       \
        handler((whose), message);                    \
    }

#endif
