/* vekcore.h: heap memory and the thread count of the vekr libraries.
 *
 * libvekre9 takes vekMalloc, vekFree and ownGetNumThreads from here, as ordinary undefined symbols: a
 * program that defines the three itself, and exports them, is served by its own. */
#ifndef VEKCORE_H
#define VEKCORE_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Returns a block of at least `size` bytes, aligned to 64 bytes, or null if there is no memory. A size of 0
 * gives a block that may be freed and not used. Thread-safe. */
void *vekMalloc(size_t size);

/* Releases a block of vekMalloc. Accepts null. Thread-safe. */
void vekFree(void *p);

/* Returns the number of threads that a library call may use, at least 1: what vekSetNumThreads set, otherwise
 * the number of processors that the calling thread may run on at this moment. Thread-safe.
 *
 * Those calls ask it that say so in vekr.h: remap, affine warp, vekrResize_32f_C1V, vekrTriangleNormal_32f,
 * and vekrResizeGetBufSize, whose answer grows with it. The tree build doesn't. */
int32_t ownGetNumThreads(void);

/* Sets that number for the whole process. 0 or less: back to the default. Thread-safe. A call that is running
 * may read the number up to three times, and goes on with any mixture of old and new ones; but between
 * vekrResizeGetBufSize and the use of its buffer the number must not grow. */
void vekSetNumThreads(int32_t count);

#ifdef __cplusplus
}
#endif

#endif
