// Sobol and Niederr: state blocks, where their tables lie, and how tables are made.
#pragma once
#include "streams/stream.h"

namespace orv::streams {

inline constexpr uint32_t all_components = 0xFFFFFFFF;
inline constexpr uint32_t sobol_tables_chunk = 9, niederr_chunk = 10, sobol_vector_chunk = 13;

struct QuasiHead {
  uint32_t counter;   // index of the current point
  uint32_t dimension; //
  uint32_t component; // the one coordinate that is delivered, or all_components
  uint32_t pending;   // coordinates of the current point that are still to come
  uint32_t unused[8];
};

struct SobolState {
  QuasiHead head;
  static constexpr uint32_t most = 40, column_words = 48;
  uint32_t vector[most], gap1[8], rows[most][33], gap2[8], columns[32][column_words];
};
struct NiederrState {
  QuasiHead head;
  static constexpr uint32_t most = 318, column_words = 320;
  uint32_t vector[most], gap1[2], rows[most][33], gap2[2], columns[32][column_words];
};
static_assert(sizeof(SobolState) == 11696 && offsetof(SobolState, vector) == 48 &&
              offsetof(SobolState, rows) == 240 && offsetof(SobolState, columns) == 5552);
static_assert(sizeof(NiederrState) == 84272 && offsetof(NiederrState, vector) == 48 &&
              offsetof(NiederrState, rows) == 1328 && offsetof(NiederrState, columns) == 43312);

// Direction words, by dimension and by bit, wherever they lie.
struct QuasiTables {
  uint32_t *rows, *columns;
  size_t row_stride, column_stride; // words

  uint32_t* row(uint32_t j) const { return rows + j * row_stride; }
  uint32_t* column(uint32_t k) const { return columns + k * column_stride; }
  void set_columns(uint32_t d) const {
    for (uint32_t k = 0; k < 32; ++k)
      for (uint32_t j = 0; j < d; ++j) column(k)[j] = row(j)[k];
  }
};

// Tables in a block of their own: rows of 32 words, then columns whose length is a multiple of 64 bytes.
inline uint64_t wide_column_words(uint64_t d) { return d / 16 * 16 + 16; }
inline uint64_t wide_tables_bytes(uint64_t d) { return 128 * d + 128 * wide_column_words(d); }
inline QuasiTables wide_tables(void* block, uint32_t d) {
  auto* words = static_cast<uint32_t*>(block);
  return {words, words + 32 * static_cast<size_t>(d), 32, static_cast<size_t>(wide_column_words(d))};
}

// What seeding asks for.
struct QuasiRequest {
  uint32_t d = 1;
  int32_t form = 0; // class of the user's tables, 0 for the built-in ones
  int32_t n = 0;
  const uint32_t* params = nullptr;

  int32_t at(int64_t i) const { return static_cast<int32_t>(load_u32(params + i)); }
};
QuasiRequest sobol_request(int32_t n, const uint32_t* params);
QuasiRequest niederr_request(int32_t n, const uint32_t* params);

// Fill the rows of a request; RnqErrBadArgument for a polynomial that cannot be used.
int32_t fill_sobol(QuasiRequest const& q, QuasiTables const& t);
int32_t fill_niederr(QuasiRequest const& q, QuasiTables const& t);

} // namespace orv::streams
