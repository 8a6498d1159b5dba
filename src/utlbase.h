/*
 * The utilities that need nothing but the C library, so that any module can use them: bounded
 * text and the page size. Without state; any thread may call.
 */
#ifndef UTLBASE_H
#define UTLBASE_H

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <unistd.h>

/* Copies src to dst, at most size - 1 characters, and terminates dst when size is at least
 * 1. Returns the length of src; what does not fit is cut. */
inline size_t UtlStrlcpy(char* dst, const char* src, size_t size) {
    size_t length = strlen(src);
    if (size == 0) {
        return length;
    }
    size_t copied = length < size ? length : size - 1;
    memcpy(dst, src, copied);
    dst[copied] = '\0';
    return length;
}

/* Appends src to the text in dst, size being the whole of dst. Returns the length that the
 * complete text would have. A dst without terminator within size stays as it is. */
inline size_t UtlStrlcat(char* dst, const char* src, size_t size) {
    size_t used = strnlen(dst, size);
    return used + UtlStrlcpy(dst + used, src, size - used);
}

/* The system's page size in bytes, asked each time. */
inline intptr_t UtlGetPageSize() {
    return sysconf(_SC_PAGESIZE);
}

#endif
