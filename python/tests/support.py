"""Calls of the library as a C programmer writes them, and inputs that several tests share."""

import numpy as np

import vekr.lib as lib

VOXELS = {np.dtype(np.uint8): "8u", np.dtype(np.uint16): "16u", np.dtype(np.float32): "32f"}
TYPES = [np.uint8, np.uint16, np.float32]
CODES = {"nearest": 1, "linear": 2, "lagrange": 4, "bspline": 5, "catmull-rom": 6, "mitchell": 7}


def volume_of(rng, shape, dtype):
    top = {1: 256, 2: 65536, 4: 1000}[np.dtype(dtype).itemsize]
    return (rng.random(shape) * top).astype(dtype)


def size(array):
    return array.shape[2], array.shape[1], array.shape[0]


def whole(array):
    return (0, 0, 0, *size(array))


def planes(array):
    return [array[z] for z in range(array.shape[0])]


def resize(source, out, factor, shift, code, source_box=None, box=None):
    source_box, box = source_box or whole(source), box or whole(out)
    needed = np.zeros(1, np.int32)
    lib.vekrResizeGetBufSize(source_box, box, 1, code, needed)
    buffer = np.empty(needed[0], np.uint8)
    call = getattr(lib, f"vekrResize_{VOXELS[source.dtype]}_C1V")
    call(lib.ffi.cast("void *", source.ctypes.data), size(source), source.strides[1], source.strides[0], source_box,
         lib.ffi.cast("void *", out.ctypes.data), out.strides[1], out.strides[0], box, *factor[::-1], *shift[::-1], code,
         buffer)
    return out


def remap(source, maps, out, code, box=None):
    call = getattr(lib, f"vekrRemap_{VOXELS[source.dtype]}_C1PV")
    call(planes(source), size(source), source.strides[1], box or whole(source), *[planes(m) for m in maps],
         maps[0].strides[1], planes(out), out.strides[1], size(out), code)
    return out


def affine(source, matrix, out, code, box=None, out_box=None):
    call = getattr(lib, f"vekrWarpAffine_{VOXELS[source.dtype]}_C1PV")
    call(planes(source), size(source), source.strides[1], box or whole(source), planes(out), out.strides[1],
         out_box or whole(out), np.ascontiguousarray(matrix, np.float64), code)
    return out


def filter_valid(source, kernel, divisor, out=None):
    """Filter without a border; the kernel's middle is its anchor."""
    depth, height, width = (s - k + 1 for s, k in zip(source.shape, kernel.shape))
    az, ay, ax = (side // 2 for side in kernel.shape)
    pad = [k - 1 - a for k, a in zip(kernel.shape, (az, ay, ax))]
    out = np.zeros((depth, height, width), np.int16) if out is None else out
    kernel_size = kernel.shape[::-1]
    needed = np.zeros(1, np.int32)
    lib.vekrFilterGetBufSize(size(out), kernel_size, 1, needed)
    addresses = [source[z, pad[1]:, pad[2]:].ctypes.data for z in range(source.shape[0])]
    pointers = lib.ffi.new("int16_t *[]", [lib.ffi.cast("int16_t *", a) for a in addresses])
    lib.vekrFilter_16s_C1PV(pointers + pad[0], source.strides[1], planes(out), out.strides[1], size(out),
                            np.ascontiguousarray(kernel, np.int32), kernel_size, (ax, ay, az), divisor,
                            np.empty(needed[0], np.uint8))
    return out


def turn(degrees, scale=1.0, middle=(0.0, 0.0, 0.0)):
    """A matrix that turns about x, y, z in this order, scales, and leaves `middle` (x, y, z) where it is."""
    a, b, c = np.radians(degrees)
    x = np.array([[1, 0, 0], [0, np.cos(a), -np.sin(a)], [0, np.sin(a), np.cos(a)]])
    y = np.array([[np.cos(b), 0, np.sin(b)], [0, 1, 0], [-np.sin(b), 0, np.cos(b)]])
    z = np.array([[np.cos(c), -np.sin(c), 0], [np.sin(c), np.cos(c), 0], [0, 0, 1]])
    linear = scale * (z @ y @ x)
    middle = np.array(middle, float)
    return np.concatenate([linear, (middle - linear @ middle)[:, None]], axis=1)
