#include <emmintrin.h>

#include <algorithm>
#include <bit>
#include <cstring>

#include "recording/escaping.h"
#include "recording/escapingKernels.h"

namespace {

// Sixteen bytes at a time, with what every processor of this architecture has.
constexpr unsigned long blockSize = sizeof(__m128i);

__m128i load(const char* bytes) {
    return _mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes));
}

__m128i equal(__m128i block, char c) {
    return _mm_cmpeq_epi8(block, _mm_set1_epi8(c));
}

// The masks below have all bits of a byte set where it belongs to the kind.

__m128i printable(__m128i block) {
    return _mm_and_si128(_mm_cmpgt_epi8(block, _mm_set1_epi8(0x1F)),
                         _mm_cmplt_epi8(block, _mm_set1_epi8(0x7F)));
}

__m128i characterReferences(__m128i block) {
    return _mm_or_si128(
        _mm_or_si128(_mm_or_si128(equal(block, '\t'), equal(block, '\n')), equal(block, '"')),
        _mm_or_si128(equal(block, '&'), equal(block, '<')));
}

__m128i choose(__m128i mask, char value, __m128i otherwise) {
    return _mm_or_si128(_mm_and_si128(mask, _mm_set1_epi8(value)),
                        _mm_andnot_si128(mask, otherwise));
}

__m128i escapedLengths(__m128i block) {
    const __m128i plain = choose(printable(block), 1, _mm_set1_epi8(4));
    return choose(characterReferences(block), 6, choose(equal(block, '\\'), 2, plain));
}

unsigned long sum(__m128i bytes) {
    const __m128i halves = _mm_sad_epu8(bytes, _mm_setzero_si128());
    return static_cast<unsigned long>(_mm_cvtsi128_si64(halves)) +
           static_cast<unsigned long>(_mm_cvtsi128_si64(_mm_unpackhi_epi64(halves, halves)));
}

// One bit a byte, set where the byte is not written as it is.
unsigned toBeEscaped(__m128i block) {
    const __m128i plain = _mm_andnot_si128(
        _mm_or_si128(characterReferences(block), equal(block, '\\')), printable(block));
    return static_cast<unsigned>(_mm_movemask_epi8(plain)) ^ 0xFFFFU;
}

char* writeByte(char* out, char byte) {
    const EscapedByte& form = escaped(byte);
    std::memcpy(out, &form, sizeof(form));
    return out + form.length;
}

// Where the room is known to do.
char* writeBlock(char* out, const char* bytes) {
    for (unsigned long i = 0; i < blockSize; ++i)
        out = writeByte(out, bytes[i]);
    return out;
}

}  // namespace

unsigned long escapedLengthPortable(const char* bytes, unsigned long count) {
    unsigned long length = 0;
    unsigned long i = 0;
    for (; i + blockSize <= count; i += blockSize)
        length += sum(escapedLengths(load(bytes + i)));
    for (; i < count; ++i)
        length += escaped(bytes[i]).length;
    return length;
}

char* writeEscapedPortable(char* out, const char* limit, const char* bytes, unsigned long count) {
    constexpr int fewEscapes = 4;
    constexpr auto roomForABlock = static_cast<std::ptrdiff_t>(blockSize * longestEscape);
    const char* const end = bytes + count;
    while (end - bytes >= static_cast<std::ptrdiff_t>(blockSize) && limit - out >= roomForABlock) {
        const __m128i block = load(bytes);
        const unsigned escapes = toBeEscaped(block);
        if (std::popcount(escapes) > fewEscapes) {
            out = writeBlock(out, bytes);
            bytes += blockSize;
            continue;
        }
        _mm_storeu_si128(reinterpret_cast<__m128i*>(out), block);
        const auto plain =
            std::min<unsigned long>(static_cast<unsigned>(std::countr_zero(escapes)), blockSize);
        out += plain;
        bytes += plain;
        if (plain != blockSize) out = writeByte(out, *bytes++);
    }
    for (; bytes != end && limit - out >= escaped(*bytes).length; ++bytes)
        out = writeByte(out, *bytes);
    return out;
}
