/**
 * @file
 * Parses messages and track descriptions: attribute text such as "name=frameLost,media=video,lost=3". Include
 * it in addition to vornisa_api.h. Its functions call nothing of the library and allocate no memory, so any
 * thread may call them.
 *
 * A value that contains commas is enclosed in braces: "name=recordStop,url={file:///a,b.mp4}".
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
 * @param key     in: the key, case-sensitive; not null
 * @param value   out: the value without the braces around it, truncated to `size` - 1 bytes and terminated by
 * a zero; an empty text when the key is absent. May be null if `size` is 0
 * @param size    bytes at `value`; 0 to get the length alone
 *
 * @return the length of the whole value in bytes, also when it was truncated; -1 when the message has no such
 * key
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
 * Reads a decimal integer.
 *
 * @param message in: the message; not null
 * @param key     in: the key; not null
 * @param number  out: the number; unchanged on failure. Not null
 *
 * @return 1 when the value is an integer of 64 bits, 0 when it is not or the key is absent
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

/** Returns 1 when the message has that name, else 0. Neither text may be null. */
static inline int VNMessageIs(const char* message, const char* name) {
    char text[64];
    return VNMessageValue(message, "name", text, (int)sizeof text) == (int)strlen(name) &&
           strcmp(text, name) == 0;
}

#ifdef __cplusplus
}
#endif

/**
 * Defines a callback for VNRegisterMessageCallback that adds a context of the application to each message.
 * Messages of a stream do not name their stream, and a C callback has no user pointer, so each stream needs a
 * callback of its own. Use the macro outside of functions.
 *
 *     static void onMessage(struct Camera* camera, const char* message);
 *     static struct Camera front, yard;
 *     VN_MESSAGE_CALLBACK(onFrontMessage, onMessage, &front)
 *     VN_MESSAGE_CALLBACK(onYardMessage, onMessage, &yard)
 *     ...
 *     VNRegisterMessageCallback(front.id, onFrontMessage);
 *
 * @param callback name of the callback to define
 * @param handler  function that is called with `context` and the message
 * @param context  expression of variables at file scope, evaluated for each message
 */
#define VN_MESSAGE_CALLBACK(callback, handler, context) \
    static void callback(const char* message) {         \
        handler((context), message);                    \
    }

#endif
