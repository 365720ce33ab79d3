// The compiler warns of what its own header leaves open on purpose.
#pragma GCC diagnostic ignored "-Wuninitialized"
#ifndef __clang__
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#endif

#include <immintrin.h>
// A header for C, by the name of its truth values.
#define _Bool bool
#include <sys/platform/x86.h>
#undef _Bool

#include <array>
#include <bit>
#include <cstdint>
#include <cstring>

#include "recording/escaping.h"
#include "recording/escapingKernels.h"

// Only the functions so marked use the instructions; nothing that other files share may.
#define WITH_VECTORS __attribute__((target("avx512f,avx512bw,avx512vbmi,avx512vbmi2,popcnt")))

namespace {

constexpr unsigned long blockSize = sizeof(__m512i);
constexpr unsigned long groupSize = sizeof(std::uint64_t);

// Every escaped form is a selection from one text of eight bytes, in which h and l stand for the
// byte's digits and c for the byte itself: "&#\xhl;c". Bit i selects the i-th of them.
constexpr unsigned digitBits = 0b0011'0000;
constexpr unsigned byteBit = 0b1000'0000;
constexpr unsigned characterReference = 0b0111'1011;  // &#xhl;
constexpr unsigned char hexadecimalLength = 4;
constexpr unsigned hexadecimal = 0b0011'1100;       // \xhl
constexpr unsigned backslashAndByte = 0b1000'0100;  // which is a backslash, too

constexpr unsigned selection(const EscapedByte& form) {
    switch (form.length) {
        case 6:
            return characterReference;
        case 4:
            return hexadecimal;
        case 2:
            return backslashAndByte;
        default:
            return byteBit;
    }
}

// Something about each byte value below 0x80. All others are written in hexadecimal.
struct alignas(blockSize) Table {
    unsigned char of[2 * blockSize];
};

template <typename Property>
constexpr Table makeTable(Property property) {
    Table table{};
    for (unsigned byte = 0; byte < sizeof(table.of); ++byte)
        table.of[byte] = static_cast<unsigned char>(property(escapedBytes[byte]));
    return table;
}

constexpr Table selections = makeTable(&selection);
constexpr Table lengths = makeTable([](const EscapedByte& form) { return form.length; });

// The places of a block from any of them on.
constexpr Table fromPlace = [] {
    Table places{};
    for (unsigned long i = 0; i < blockSize; ++i)
        places.of[i] = static_cast<unsigned char>(i);
    return places;
}();

constexpr std::uint64_t inEveryByte(unsigned char value) {
    return 0x0101'0101'0101'0101 * value;
}

WITH_VECTORS inline __m512i load(const void* bytes) {
    return _mm512_loadu_si512(bytes);
}

WITH_VECTORS inline __m512i inEveryGroup(std::uint64_t group) {
    return _mm512_set1_epi64(static_cast<long long>(group));
}

// For each byte of a block, what the table says of it, or of the bytes from 0x80 on.
WITH_VECTORS inline __m512i lookUp(const Table& table, unsigned char high, __m512i block) {
    const __m512i low = _mm512_permutex2var_epi8(load(table.of), block, load(table.of + blockSize));
    return _mm512_mask_mov_epi8(low, _mm512_movepi8_mask(block),
                                _mm512_set1_epi8(static_cast<char>(high)));
}

// For each place of eight supersets, the bit of the eight bytes at which what belongs there begins:
// a digit, above which other bits do not count, or the byte itself.
constexpr Table shifts = [] {
    Table places{};
    for (unsigned long i = 0; i < blockSize; ++i) {
        const auto byte = static_cast<unsigned>(i / groupSize * 8);
        places.of[i] = static_cast<unsigned char>(i % groupSize == 4 ? byte + 4 : byte);
    }
    return places;
}();

// What turns eight bytes into their supersets.
struct Expander {
    __m512i constants = inEveryGroup(std::bit_cast<std::uint64_t>(
        std::array<char, groupSize>{'&', '#', '\\', 'x', 0, 0, ';', 0}));
    __m512i byteMask = inEveryGroup(std::uint64_t{0xFF} << 56);
    __m512i places = load(shifts.of);
    // Four times, so that only the lowest four bits of an index count.
    __m512i digits =
        _mm512_broadcast_i32x4(_mm_loadu_si128(reinterpret_cast<const __m128i*>(HexaTable)));

    WITH_VECTORS Expander() = default;

    WITH_VECTORS __m512i operator()(std::uint64_t bytes) const {
        constexpr int constantsOrMasked = 0xF8;  // a | (b & c)
        const __m512i apart = _mm512_multishift_epi64_epi8(places, inEveryGroup(bytes));
        const __m512i withByte =
            _mm512_ternarylogic_epi64(constants, apart, byteMask, constantsOrMasked);
        return _mm512_mask_permutexvar_epi8(withByte, inEveryByte(digitBits), apart, digits);
    }
};

// A block in memory, where it is cheaper to load pieces from than to take them out of a vector. The
// application's own memory will not do: another thread may have changed it since.
template <typename Piece>
struct Pieces {
    alignas(blockSize) Piece of[blockSize / sizeof(Piece)];

    WITH_VECTORS explicit Pieces(__m512i block) {
        _mm512_store_si512(of, block);
        asm("" : "+m"(of));
    }
};

// The writers below may overwrite up to a block behind the end.

WITH_VECTORS inline void storeFrom(unsigned long place, __m512i block, char* out) {
    _mm512_storeu_si512(out, _mm512_permutexvar_epi8(load(fromPlace.of + place), block));
}

// From one byte that has to be escaped to the next. `escapes` has a bit for each.
WITH_VECTORS inline char* writeSparse(char* out, __m512i block, std::uint64_t escapes) {
    const Pieces<char> bytes(block);
    unsigned long place = 0;
    for (; escapes != 0; escapes &= escapes - 1) {
        const auto next = static_cast<unsigned long>(std::countr_zero(escapes));
        storeFrom(place, block, out);
        const EscapedByte& form = escaped(bytes.of[next]);
        out += next - place;
        std::memcpy(out, &form, sizeof(form));
        out += form.length;
        place = next + 1;
    }
    storeFrom(place, block, out);
    return out + (blockSize - place);
}

// Eight bytes at a time, whatever they are.
WITH_VECTORS inline char* writeDense(char* out, const Expander& expand, __m512i block,
                                     __m512i chosen) {
    const Pieces<std::uint64_t> bytes(block);
    const Pieces<std::uint64_t> selected(chosen);
    for (unsigned long i = 0; i < blockSize / groupSize; ++i) {
        const __m512i forms = _mm512_maskz_compress_epi8(selected.of[i], expand(bytes.of[i]));
        _mm512_storeu_si512(out, forms);
        out += std::popcount(selected.of[i]);
    }
    return out;
}

}  // namespace

bool canEscapeByVectors() {
    return CPU_FEATURE_ACTIVE(AVX512F) && CPU_FEATURE_ACTIVE(AVX512BW) &&
           CPU_FEATURE_ACTIVE(AVX512_VBMI) && CPU_FEATURE_ACTIVE(AVX512_VBMI2) &&
           CPU_FEATURE_ACTIVE(POPCNT);
}

WITH_VECTORS unsigned long escapedLengthByVectors(const char* bytes, unsigned long count) {
    const char* const end = bytes + count;
    __m512i sums = _mm512_setzero_si512();
    for (; end - bytes >= static_cast<std::ptrdiff_t>(blockSize); bytes += blockSize) {
        const __m512i blockLengths = lookUp(lengths, hexadecimalLength, load(bytes));
        sums = _mm512_add_epi64(sums, _mm512_sad_epu8(blockLengths, _mm512_setzero_si512()));
    }
    return static_cast<unsigned long>(_mm512_reduce_add_epi64(sums)) +
           escapedLengthPortable(bytes, static_cast<unsigned long>(end - bytes));
}

WITH_VECTORS char* writeEscapedByVectors(char* out, const char* limit, const char* bytes,
                                         unsigned long count) {
    constexpr int fewEscapes = 4;
    constexpr auto roomForABlock = static_cast<std::ptrdiff_t>(blockSize * (longestEscape + 1));
    const Expander expand;
    const __m512i plain = _mm512_set1_epi8(static_cast<char>(byteBit));
    const char* const end = bytes + count;
    for (; end - bytes >= static_cast<std::ptrdiff_t>(blockSize) && limit - out >= roomForABlock;
         bytes += blockSize) {
        const __m512i block = load(bytes);
        const __m512i chosen = lookUp(selections, hexadecimal, block);
        const std::uint64_t escapes = _mm512_cmpneq_epi8_mask(chosen, plain);
        if (escapes == 0) {
            _mm512_storeu_si512(out, block);
            out += blockSize;
        } else if (std::popcount(escapes) <= fewEscapes) {
            out = writeSparse(out, block, escapes);
        } else {
            out = writeDense(out, expand, block, chosen);
        }
    }
    return writeEscapedPortable(out, limit, bytes, static_cast<unsigned long>(end - bytes));
}
