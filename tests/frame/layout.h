/* Sizes and offsets of the public structs, asserted by whoever includes this: once as C, once as C++. `LAYOUT(condition)`
 * must be defined. */
#include <stddef.h>

#include "vekr.h"

LAYOUT(sizeof(VekStatus) == 4);
LAYOUT((VekStatus)-1 < 0);

LAYOUT(sizeof(VekLibVersion) == 48);
LAYOUT(offsetof(VekLibVersion, major) == 0);
LAYOUT(offsetof(VekLibVersion, minor) == 4);
LAYOUT(offsetof(VekLibVersion, majorBuild) == 8);
LAYOUT(offsetof(VekLibVersion, build) == 12);
LAYOUT(offsetof(VekLibVersion, targetCpu) == 16);
LAYOUT(offsetof(VekLibVersion, name) == 24);
LAYOUT(offsetof(VekLibVersion, version) == 32);
LAYOUT(offsetof(VekLibVersion, buildDate) == 40);

LAYOUT(sizeof(VekrKDTreeNode) == 8);
LAYOUT(offsetof(VekrKDTreeNode, word0) == 0);
LAYOUT(offsetof(VekrKDTreeNode, word1) == 4);

LAYOUT(sizeof(VekrSimpleBuildContext) == 8);
LAYOUT(offsetof(VekrSimpleBuildContext, identifier) == 0);
LAYOUT(offsetof(VekrSimpleBuildContext, maxDepth) == 4);

LAYOUT(sizeof(VekrPSAHBuildContext) == 24);
LAYOUT(offsetof(VekrPSAHBuildContext, identifier) == 0);
LAYOUT(offsetof(VekrPSAHBuildContext, maxDepth) == 4);
LAYOUT(offsetof(VekrPSAHBuildContext, splitBias) == 8);
LAYOUT(offsetof(VekrPSAHBuildContext, memoryLimitMB) == 12);
LAYOUT(offsetof(VekrPSAHBuildContext, pBounds) == 16);

LAYOUT(sizeof(VekrTriangleAccel) == 40);
LAYOUT(offsetof(VekrTriangleAccel, axes) == 0);
LAYOUT(offsetof(VekrTriangleAccel, nu) == 4);
LAYOUT(offsetof(VekrTriangleAccel, ck) == 8);
LAYOUT(offsetof(VekrTriangleAccel, nv) == 12);
LAYOUT(offsetof(VekrTriangleAccel, cu) == 16);
LAYOUT(offsetof(VekrTriangleAccel, cv) == 20);
LAYOUT(offsetof(VekrTriangleAccel, e2u) == 24);
LAYOUT(offsetof(VekrTriangleAccel, e2v) == 28);
LAYOUT(offsetof(VekrTriangleAccel, e1u) == 32);
LAYOUT(offsetof(VekrTriangleAccel, e1v) == 36);

LAYOUT(sizeof(VekrBlockSize) == 8);
LAYOUT(offsetof(VekrBlockSize, width) == 0);
LAYOUT(offsetof(VekrBlockSize, height) == 4);

LAYOUT(sizeof(VekrBlockIndex) == 8);
LAYOUT(offsetof(VekrBlockIndex, x) == 0);
LAYOUT(offsetof(VekrBlockIndex, y) == 4);

LAYOUT(sizeof(VekrIntersectScene) == 24);
LAYOUT(offsetof(VekrIntersectScene, pBox) == 0);
LAYOUT(offsetof(VekrIntersectScene, pTriangles) == 8);
LAYOUT(offsetof(VekrIntersectScene, pRoot) == 16);

LAYOUT(vekrSimpleBuildIdentifier == 0x499D3DC2);
LAYOUT(vekrPSAHBuildIdentifier == 0x2D07705B);

LAYOUT(vekOk == 0);
LAYOUT(vekWarnNoVoxels == 1);
LAYOUT(vekWarnNoOverlap == 40);
LAYOUT(vekErrTreeInternal == -2);
LAYOUT(vekErrMemAlloc == -4);
LAYOUT(vekErrContext == -5);
LAYOUT(vekErrSize == -6);
LAYOUT(vekErrBadArg == -7);
LAYOUT(vekErrNullPtr == -8);
LAYOUT(vekErrTreeBuild == -9);
LAYOUT(vekErrRange == -11);
LAYOUT(vekErrInterpolation == -22);
LAYOUT(vekErrResizeFactor == -23);
LAYOUT(vekErrChannel == -53);
LAYOUT(vekErrCoeff == -56);
