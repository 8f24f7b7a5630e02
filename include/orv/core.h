/* The core library: what the kernel library asks of its surroundings.
 *
 * The kernel library binds each of these functions on first use from the core library that lies beside
 * it, so a replacement only has to export the same names. BLAS and LAPACK routines are declared in
 * orv/core_linalg.h.
 */
#ifndef ORV_CORE_H
#define ORV_CORE_H

#include "orv/platform.h"

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Memory. `alignment` is a power of two, in bytes. Returns null when there is none to be had, or for a
 * size of zero bytes that no block can be made for. Blocks are given back by orv_serv_deallocate, which
 * ignores null. */
void* ORV_CALL orv_serv_allocate(size_t size, size_t alignment);
void ORV_CALL orv_serv_deallocate(void* block);

/* Test switch: makes the k-th request from now (1 is the next) and only it fail; 0 switches off.
 * Returns how many requests were made since the last call. Counts over all threads. */
int64_t ORV_CALL orv_serv_fail_allocation(int64_t k);
/* Blocks that are allocated now, over all threads; for leak checks in tests. */
int64_t ORV_CALL orv_serv_blocks_in_use(void);

/* Mutual exclusion on a static lock word, zero when free. Not recursive. */
void ORV_CALL orv_serv_lock(int32_t* word);
void ORV_CALL orv_serv_unlock(int32_t* word);

/* Writes the fixed message `number` to standard error, with `count` arguments as its text wants them.
 * `channel` is 1. Unknown numbers write a line that names the number. */
void ORV_CALL orv_serv_print(int channel, int number, int count, ...);

/* Copies the value of environment variable `name` to `buffer`, cut to capacity - 1 characters and ended
 * by a zero. Returns the length of what was copied; 0 for an empty value, -1 for an unset variable. */
int ORV_CALL orv_serv_getenv(const char* name, char* buffer, int capacity);

/* Ends the process with `code` after flushing standard streams. */
void ORV_CALL orv_serv_exit(int code);

/* Copies `count` bytes if they fit into `size`; otherwise copies nothing. Returns 0, or 34 if they do not
 * fit, or 22 for a null pointer with a count above 0. */
int ORV_CALL orv_serv_memcpy_s(void* destination, size_t size, const void* source, size_t count);

/* Non-zero if the processor has AES on 256-bit vectors and the system keeps their state. */
int ORV_CALL orv_serv_cpuisqvx(void);

/* Address of one of the thread functions below by its name, or null. */
void* ORV_CALL orv_serv_load_thread_fun(const char* name);

/* "orv_rnq_serv_threader_get_num_threads_limit": the number of threads that threader_for uses at most;
 * the number of processors, or what the environment variable ORV_NUM_THREADS says. */
int ORV_CALL orv_rnq_serv_threader_get_num_threads_limit(void);
/* "orv_rnq_serv_threader_for": calls callback(chunk, unused, unused, context) for each chunk from 0 to
 * chunks - 1, perhaps on several threads at once, and returns when all are done. */
void ORV_CALL orv_rnq_serv_threader_for(int chunks, int unused, void* context,
                                        void(ORV_CALL* callback)(int chunk, int unused1, int unused2,
                                                                 void* context));

#ifdef __cplusplus
}
#endif
#endif
