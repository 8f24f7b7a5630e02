/* Random number streams: the registry of basic generators, the stream object with its side blocks, and the
 * arithmetic of jumps.
 *
 * A stream is created for a generator number and a seed, drawn from through the functions in the generator's
 * row of the registry, and deleted:
 *
 *   RngStream* stream;
 *   uint32_t seed[] = {1, 2, 3}, row, sub;
 *   __rnqNewStreamEx(&stream, RnqMT19937, 3, seed);
 *   const BrngProperties* table = __rnqGetBrngBaseOffset(stream->brng, &row, &sub);
 *   table[row].generateDouble(stream, n, r, 0.0, 1.0);
 *   __rnqDeleteStream(&stream);
 *
 * All functions that return int32_t return a status: 0 or more is success, negative is one of RnqErr... .
 * A stream serves one thread at a time. Different streams may be used from different threads.
 *
 * Generators, with the number of the first (or only) member and the source of the method:
 *
 *   RnqMCG31M1         x <- 1132489760 x mod 2^31 - 1        P. L'Ecuyer, Math. Comp. 68 (1999)
 *   RnqR250            x_k = x_(k-250) xor x_(k-147)         S. Kirkpatrick, E. Stoll, J. Comp. Phys. 40 (1981)
 *   RnqMRG32K3A        two recurrences of order 3            P. L'Ecuyer, Operations Research 47 (1999)
 *   RnqMCG59           x <- 13^13 x mod 2^59
 *   RnqWH              sum of four congruences, 273 sets     B. Wichmann, D. Hill; N. Maclaren (1989)
 *   RnqSobol           up to 40 dimensions, more by tables   I. Sobol; P. Bratley, B. Fox, ACM TOMS 14 (1988)
 *   RnqNiederr         up to 318 dimensions, more by tables  P. Bratley, B. Fox, H. Niederreiter (1992)
 *   RnqMT19937         Mersenne twister                      M. Matsumoto, T. Nishimura, ACM TOMACS 8 (1998)
 *   RnqMT2203          6024 small Mersenne twisters          M. Matsumoto, T. Nishimura, dynamic creation (2000)
 *   RnqIAbstract, RnqDAbstract, RnqSAbstract                 numbers from the caller
 *   RnqSFMT19937       128-bit Mersenne twister              M. Saito, M. Matsumoto, MCQMC 2006
 *   RnqTRNG            the processor's RDRAND
 *   RnqARS5            five AES rounds on a counter          J. Salmon et al., SC 2011
 *   RnqPHILOX4X32X10   ten Philox rounds on a counter        J. Salmon et al., SC 2011
 *
 * A member of WH is RnqWH + set, a member of MT2203 is RnqMT2203 + member. Numbers below 0x100000 are an
 * older numbering: 0 MCG31M1, 1 R250, 2 MRG32K3A, 3 MCG59, 4 to 276 the sets of WH, 277 Sobol, 278 Niederr.
 */
#ifndef ORV_STREAMS_H
#define ORV_STREAMS_H

#include "orv/platform.h"

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Generator numbers: row i of __RegBrngsNew is (i + 1) << 20. */
enum RnqGenerator {
  RnqMCG31M1 = 0x100000,
  RnqR250 = 0x200000,
  RnqMRG32K3A = 0x300000,
  RnqMCG59 = 0x400000,
  RnqWH = 0x500000, /* to RnqWH + 272 */
  RnqSobol = 0x600000,
  RnqNiederr = 0x700000,
  RnqMT19937 = 0x800000,
  RnqMT2203 = 0x900000, /* to RnqMT2203 + 6023 */
  RnqIAbstract = 0xA00000,
  RnqDAbstract = 0xB00000,
  RnqSAbstract = 0xC00000,
  RnqSFMT19937 = 0xD00000,
  RnqTRNG = 0xE00000,
  RnqARS5 = 0xF00000,
  RnqPHILOX4X32X10 = 0x1000000
};

/* What initStream does, its `method`. */
enum RnqInitMethod { RnqInitSeed = 0, RnqInitLeapfrog = 1, RnqInitSkipAhead = 2, RnqInitSkipAheadEx = 3 };

enum RnqStatus {
  RnqOk = 0,
  RnqErrBadMethod = -2,              /* initStream called with a method outside 0 to 3 */
  RnqErrBadArgument = -3,            /* null or inconsistent argument of an abstract stream; bad polynomial */
  RnqErrNoMemory = -4,               /* allocation failed, or a chunk that must exist is missing */
  RnqErrNullArgument = -5,           /* null function in a registration; abstract stream without a buffer */
  RnqErrBadBrng = -1000,             /* generator number not usable */
  RnqErrBrngTableFull = -1001,       /* registration: all rows are taken */
  RnqErrNoLeapfrog = -1002,          /* no leapfrog, or its arguments are out of range */
  RnqErrNoSkipAhead = -1003,         /* no skip-ahead, or the count cannot be honoured */
  RnqErrNoSkipAheadEx = -1004,       /* no skip-ahead by a long count */
  RnqErrBadStateSize = -1008,        /* registration: negative stateSize */
  RnqErrBadWordSize = -1009,         /* registration: wordSize not 4, 8 or 16 */
  RnqErrBadSeedCount = -1010,        /* registration: seedCount below 1 */
  RnqErrBadBitCount = -1011,         /* registration: bitCount below 1 */
  RnqErrQuasiPeriodExceeded = -1012, /* the request would run the point counter past 0xFFFFFFFF */
  RnqErrLeapfrogStreams = -1013,     /* negative number of streams */
  RnqErrFileClose = -1100,
  RnqErrFileOpen = -1101,
  RnqErrFileWrite = -1102,
  RnqErrFileRead = -1103,
  RnqErrBadFileFormat = -1110,     /* header of a file not acceptable */
  RnqErrAbstractCallback = -1120,  /* callback returned a negative count or more than the room it had */
  RnqErrAbstractNoData = -1121,    /* callback returned 0 */
  RnqErrAbstractWrongType = -1122, /* abstract stream read as another type */
  RnqErrNoRdrand = -1130,          /* processor without RDRAND */
  RnqErrRdrandFailed = -1131,      /* RDRAND kept failing */
  RnqErrNoAes = -1140,             /* processor without AES instructions */
  RnqErrBadMemoryFormat = -1200,   /* header of a memory image not acceptable */
  RnqErrRoEntryNotFound = -3000,   /* shared table: no such entry */
  RnqErrRoTableFull = -3001        /* shared table: all 128 entries in use */
};

/* A side block of a stream. */
typedef struct RngChunk {
  uint32_t id;
  uint32_t size; /* bytes of data */
  void* data;
  struct RngChunk* next;
#ifdef __cplusplus
  alignas(8) uint64_t key[2]; /* zero, or names the entry of the shared table that data belongs to */
#else
  _Alignas(8) uint64_t key[2];
#endif
} RngChunk;

/* The head of a stream; the generator's state follows right behind it. */
typedef struct RngStream {
  int32_t brng; /* generator number as given at creation */
  uint8_t stamp0, stamp1;
  uint16_t stamp2;
#ifdef __cplusplus
  union {
    RngChunk* chunks; /* newest first */
    alignas(8) uint64_t chunksSlot;
  };
#else
  union {
    RngChunk* chunks;
    _Alignas(8) uint64_t chunksSlot;
  };
#endif
} RngStream;

/* Operations of a generator. `method` is RnqInitSeed with n 32-bit words at params; RnqInitLeapfrog over n
 * streams with the index of this one at params (u32); RnqInitSkipAhead with the u64 at params (n is 2);
 * RnqInitSkipAheadEx with a count of n u64 words, least significant first. */
typedef int32_t(ORV_CALL* RngInitStream)(int32_t method, RngStream* stream, int32_t n, const void* params);
/* Draw n elements. Reals are spread over (a, b); rounding may give a or b themselves. Integer output has
 * elements of wordSize bytes. n of 0 or less draws nothing.
 * A real is made of one word, a double too: with the generators of 32-bit words it has 32 random bits and not 53
 * (MCG31M1 has 31), so it lies on a grid of (b - a) / 2^32, and two of 100,000 numbers are equal with a
 * probability of two in three. MCG59 fills a double. Where more bits matter, make one double of two. */
typedef int32_t(ORV_CALL* RngGenerateSingle)(RngStream* stream, int32_t n, float* r, float a, float b);
typedef int32_t(ORV_CALL* RngGenerateDouble)(RngStream* stream, int32_t n, double* r, double a, double b);
typedef int32_t(ORV_CALL* RngGenerateInteger)(RngStream* stream, int32_t n, void* r);

typedef struct BrngProperties {
  int32_t stateSize;    /* bytes of a whole stream, its head of 16 bytes included */
  int32_t seedCount;    /* restorable part of the state, in units of wordSize */
  int32_t zeroPossible; /* whether 0 can come out, for information */
  int32_t wordSize;     /* bytes of an element of integer output: 4, 8 or 16 */
  int32_t bitCount;     /* significant bits of a word */
  RngInitStream initStream;
  RngGenerateSingle generateSingle;
  RngGenerateDouble generateDouble;
  RngGenerateInteger generateInteger;
} BrngProperties;

/* ---- registry ---- */

ORV_DATA BrngProperties __RegBrngsNew[512];    /* row i is number (i + 1) << 20 */
ORV_DATA const BrngProperties __RegBrngs[281]; /* the older numbering */

/* Finds the table, the row and the sub-stream of a generator number; does not check that they exist. */
const BrngProperties* ORV_CALL __rnqGetBrngBaseOffset(int32_t number, uint32_t* index, uint32_t* sub);
/* Whether row and sub-stream are within their table. Rows 279 and 280 of the old table are, but are empty. */
int32_t ORV_CALL __rnqIsBrngValid(const BrngProperties* table, uint32_t index, uint32_t sub);
int32_t ORV_CALL __rnqGetBrngProperties(int32_t number, BrngProperties* properties);
int32_t ORV_CALL __rnqGetNumRegBrngs(void);
/* Adds a generator; returns its number, or a negative status. Not to be run beside itself or a creation. */
int32_t ORV_CALL __rnqRegisterBrng(const BrngProperties* properties);

/* ---- streams ---- */

/* Creates and seeds. If seeding fails the stream stays in *stream and the caller deletes it. */
int32_t ORV_CALL __rnqNewStreamEx(RngStream** stream, int32_t brng, int32_t n, const uint32_t* params);
/* The raw creation step: checks, allocates and fills the head, but doesn't seed. */
int32_t ORV_CALL __rnqAllocateStream(RngStream** stream, const BrngProperties* table, int32_t brng,
                                     uint32_t index, uint32_t sub);
int32_t ORV_CALL __rnqCopyStream(RngStream** newStream, const RngStream* source);
/* Moves state and chunks into an existing stream of the same generator. */
int32_t ORV_CALL __rnqCopyStreamState(RngStream* destination, const RngStream* source);
int32_t ORV_CALL __rnqDeleteStream(RngStream** stream); /* stores null */
/* Makes this stream number k of nstreams that share the sequence in turn. */
int32_t ORV_CALL __rnqLeapfrogStream(RngStream* stream, int32_t k, int32_t nstreams);
int32_t ORV_CALL __rnqSkipAheadStream(RngStream* stream, uint64_t nskip);
int32_t ORV_CALL __rnqSkipAheadStreamEx(RngStream* stream, int32_t n, const uint64_t* nskip);
int32_t ORV_CALL __rnqGetStreamStateBrng(const RngStream* stream);

/* ---- chunks ---- */

/* Takes over `data`, unless it fails. `key` may be null. If the shared table knows the key, its block is used
 * and `data` released. */
int32_t ORV_CALL __rnqAddChunk(RngStream* stream, uint32_t id, const uint64_t* key, void* data,
                               uint32_t size);
void* ORV_CALL __rnqSearchChunk(const RngStream* stream, uint32_t id);
int32_t ORV_CALL __rnqGetNumChunks(const RngStream* stream);
void ORV_CALL __rnqDeleteChunksById(RngStream* stream, uint32_t id);
void ORV_CALL __rnqDeleteChunks(RngStream* stream);
int32_t ORV_CALL __rnqCopyChunks(RngStream* destination, const RngStream* source);

/* ---- the shared table of read-only blocks ---- */

typedef struct GlobRODataEntry {
#ifdef __cplusplus
  alignas(8) uint64_t key[2];
#else
  _Alignas(8) uint64_t key[2];
#endif
  uint32_t refCount;
  void* data;
} GlobRODataEntry;

int32_t ORV_CALL __rnqFindGlobRODataTableEntry(GlobRODataEntry** entry, const uint64_t* key);
int32_t ORV_CALL __rnqCreateGlobRODataTableEntry(GlobRODataEntry** entry, const uint64_t* key, void* data);
int32_t ORV_CALL __rnqRegisterGlobRODataReference(RngChunk* chunk, const uint64_t* key);
int32_t ORV_CALL __rnqUnregisterGlobRODataReference(const uint64_t* key);
void ORV_CALL __rnqGenerateNewGlobalRODataTableEntryId(uint64_t* key, intptr_t salt);

/* ---- images: a stream in a file or in memory ---- */

/* nameLength of 0 or more: so many characters of name are the file's name; below 0: name ends with a zero.
 * The format is described in docs/stream_image.md. A load stores null when it fails. */
int32_t ORV_CALL __rnqSaveStreamF(const RngStream* stream, const char* name, int32_t nameLength);
int32_t ORV_CALL __rnqLoadStreamF(RngStream** stream, const char* name, int32_t nameLength);
int32_t ORV_CALL __rnqGetStreamSize(const RngStream* stream); /* bytes of the image */
int32_t ORV_CALL __rnqSaveStreamM(const RngStream* stream, char* buffer);
int32_t ORV_CALL __rnqLoadStreamM(RngStream** stream, const char* buffer);

/* ---- arithmetic of jumps ---- */

/* a^c modulo m, 2^31 - 1, 2^59; the exponent as two words, low one first. */
uint32_t ORV_CALL __rnqiPowMod(uint32_t a, uint32_t cLow, uint32_t cHigh, uint32_t m);
uint32_t ORV_CALL __rnqiPowMod2P31M1(uint32_t a, uint32_t cLow, uint32_t cHigh);
uint64_t ORV_CALL __rnqiPowMod2P59(uint32_t aLow, uint32_t aHigh, uint32_t cLow, uint32_t cHigh);

/* v becomes A^c v modulo m, A having the rows (0 1 0), (0 0 1), (row[2] row[1] row[0]). */
void ORV_CALL __rnqiVect3PowMod(uint32_t* v, const uint32_t* row, uint32_t m, uint32_t cLow, uint32_t cHigh);
/* The same with a count of n u64 words, least significant first. */
int32_t ORV_CALL __rnqiVect3PowArrayMod(uint32_t* v, const uint32_t* row, uint32_t m, int32_t n,
                                        const uint64_t* count);
/* The same modulo 2^32 - 209 and 2^32 - 22853 through a table of the powers A^(2^k), 9 words each, k up to
 * 192. */
int32_t ORV_CALL __rnqiVect3PowArrayMod_M1(uint32_t* v, int32_t n, const uint64_t* count,
                                           const uint32_t* table);
int32_t ORV_CALL __rnqiVect3PowArrayMod_M2(uint32_t* v, int32_t n, const uint64_t* count,
                                           const uint32_t* table);

/* result becomes t^n modulo the polynomial over GF(2) with the given exponents, the degree among them; bit i
 * of the result stands in bit i % 32 of word i / 32. */
int32_t ORV_CALL __rnqPolyRem(uint64_t n, uint64_t degree, int32_t termCount, const int32_t* exponents,
                              int32_t wordCount, uint32_t* result);

/* What a generator that is linear over GF(2) supplies for a jump; an image is a block of the stream's size.
 */
typedef void(ORV_CALL* RngJumpZero)(void* image);
typedef void(ORV_CALL* RngJumpAdd)(void* destination, const void* source);
typedef void(ORV_CALL* RngJumpCopy)(void* destination, const void* source);
typedef void(ORV_CALL* RngJumpStep)(void* image);
typedef void(ORV_CALL* RngJumpFinish)(RngStream* stream, const void* image, int32_t remainder);
typedef int32_t(ORV_CALL* RngJumpPrepare)(RngStream* stream, uint64_t* count, int32_t* remainder);

/* Both apply t^count modulo the polynomial to the stream, one with a polynomial of one or few terms, the
 * other with a window of 8 terms at a time. A failure leaves the stream as it was. */
int32_t ORV_CALL __rnq_SkipAheadHorner(RngStream* stream, RngJumpZero zero, RngJumpAdd add, RngJumpCopy copy,
                                       RngJumpStep step, RngJumpFinish finish, RngJumpPrepare prepare,
                                       uint64_t count, int32_t words, int32_t degree, int32_t imageBytes,
                                       int32_t termCount, const int32_t* exponents);
int32_t ORV_CALL __rnq_SkipAheadSWin(RngStream* stream, RngJumpZero zero, RngJumpAdd add, RngJumpCopy copy,
                                     RngJumpStep step, RngJumpFinish finish, RngJumpPrepare prepare,
                                     uint64_t count, int32_t words, int32_t degree, int32_t imageBytes,
                                     int32_t termCount, const int32_t* exponents);

/* ---- generators: the functions in the rows of the registry ---- */

#define ORV_DECLARE_BRNG(name)                                                                               \
  int32_t ORV_CALL __rnqBRng##name##InitStream(int32_t method, RngStream* stream, int32_t n,                 \
                                               const void* params);                                          \
  int32_t ORV_CALL __rnqsBRng##name(RngStream* stream, int32_t n, float* r, float a, float b);               \
  int32_t ORV_CALL __rnqdBRng##name(RngStream* stream, int32_t n, double* r, double a, double b);            \
  int32_t ORV_CALL __rnqiBRng##name(RngStream* stream, int32_t n, void* r);

ORV_DECLARE_BRNG(MCG31M1)
ORV_DECLARE_BRNG(R250)
ORV_DECLARE_BRNG(MRG32K3A)
ORV_DECLARE_BRNG(MCG59)
ORV_DECLARE_BRNG(WH)
ORV_DECLARE_BRNG(MT19937)
ORV_DECLARE_BRNG(MT2203)
ORV_DECLARE_BRNG(SFMT19937)
/* Quasi-random: `params` of creation is a list of words: the dimension, or the dimension, 1, a class and
 * tables. */
ORV_DECLARE_BRNG(Sobol)
ORV_DECLARE_BRNG(Niederr)
ORV_DECLARE_BRNG(TRNG)
ORV_DECLARE_BRNG(ARS5)
ORV_DECLARE_BRNG(PHILOX4X32X10)

ORV_DECLARE_BRNG(iAbstract)
ORV_DECLARE_BRNG(dAbstract)
ORV_DECLARE_BRNG(sAbstract)

/* Abstract streams hand out numbers of the caller's: from a ring of `size` elements at `buffer`, which
 * `refill` fills. It is called on the drawing thread when the ring is empty, with the number of elements that
 * are wanted now, the room there is, and the ring index where the first new element goes (indices wrap at
 * *size); it returns how many it wrote, at least one. The numbers of a real stream lie between lower and
 * upper. Buffer and callback stay the caller's. */
typedef int32_t(ORV_CALL* RngRefillInteger)(RngStream* stream, int32_t* size, uint32_t* buffer,
                                            int32_t* wanted, int32_t* room, int32_t* position);
typedef int32_t(ORV_CALL* RngRefillDouble)(RngStream* stream, int32_t* size, double* buffer, int32_t* wanted,
                                           int32_t* room, int32_t* position);
typedef int32_t(ORV_CALL* RngRefillSingle)(RngStream* stream, int32_t* size, float* buffer, int32_t* wanted,
                                           int32_t* room, int32_t* position);
int32_t ORV_CALL __rnqiNewAbstractStream(RngStream** stream, int32_t size, uint32_t* buffer,
                                         RngRefillInteger refill);
int32_t ORV_CALL __rnqdNewAbstractStream(RngStream** stream, int32_t size, double* buffer, double lower,
                                         double upper, RngRefillDouble refill);
int32_t ORV_CALL __rnqsNewAbstractStream(RngStream** stream, int32_t size, float* buffer, float lower,
                                         float upper, RngRefillSingle refill);

/* Whether the processor has SSE2 and AES, vector AES, RDRAND. */
int32_t ORV_CALL __rnqCPUisAES(void);
int32_t ORV_CALL __rnqCPUisVAES(void);
int32_t ORV_CALL __rnqCPUisRDRAND(void);

#ifdef __cplusplus
}
#endif
#endif
