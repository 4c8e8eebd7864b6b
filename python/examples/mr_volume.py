"""Resamples and filters an MR volume, and compares with scipy.   mr_volume.py picture.png [volume.nii.gz]"""

import sys

import matplotlib.pyplot as plt
import nibabel
import numpy as np
from scipy import ndimage

from vekr import volume as vol

BRAIN = "/usr/share/mricron/templates/ch2.nii.gz"


def main(path, name=BRAIN):
    image = nibabel.load(name)
    brain = np.asarray(image.dataobj).T  # nibabel's (x, y, z) to (z, y, x)
    brain = brain.astype(np.uint8)
    # A grid of 1.5 mm, turned by 15 degrees about the body's axis and by 10 about the ear to ear one.
    a, b = np.radians([15, 10])
    turn = np.array([[np.cos(a), -np.sin(a), 0], [np.sin(a), np.cos(a), 0], [0, 0, 1]]) @ \
        np.array([[1, 0, 0], [0, np.cos(b), -np.sin(b)], [0, np.sin(b), np.cos(b)]])
    shape = (120, 145, 121)
    like = np.eye(4)
    like[:3, :3] = turn * 1.5
    middle = image.affine @ [*(np.array(image.shape) / 2), 1]
    like[:3, 3] = middle[:3] - like[:3, :3] @ (np.array(shape[::-1]) / 2)

    ours = vol.resample_like(brain, image.affine, like, shape)
    matrix = vol.from_nifti(image.affine, like)
    scipys = ndimage.affine_transform(brain.astype(np.float32), *vol.to_scipy(matrix), output_shape=shape, order=1)
    sharp = vol.resample_like(brain, image.affine, like, shape, interpolation="catmull-rom")
    kernel = np.ones((5, 5, 5), int)
    smooth = vol.filter(ours.astype(np.int16), kernel, divisor=125)
    edges = np.abs(vol.filter(ours.astype(np.int16), np.array([-1, 0, 1]).reshape(1, 1, 3) * np.ones((3, 3, 1), int)))
    difference = ours - scipys

    z, y = 62, 70
    rows = [("source", brain[brain.shape[0] // 2]), ("resample_like, linear", ours[z]), ("Catmull-Rom", sharp[z]),
            ("front to back", ours[:, y]), ("5 x 5 x 5 mean", smooth[z]), ("edges along x", np.minimum(edges[z], 600))]
    fig, axes = plt.subplots(2, 4, figsize=(12, 6.4), constrained_layout=True)
    for ax, (title, slice_) in zip([*axes[0, :3], *axes[1, :3]], rows):
        ax.imshow(slice_, cmap="gray", origin="lower")
        ax.set_title(title, fontsize=10)
    shown = axes[0, 3].imshow(difference[z], cmap="RdBu", vmin=-0.6, vmax=0.6, origin="lower")
    axes[0, 3].set_title("linear less scipy's floats:\nrounding to uint8, and the rim", fontsize=10)
    fig.colorbar(shown, ax=axes[0, 3], shrink=0.8)
    for ax in axes.flat:
        ax.axis("off")
    axes[1, 3].axis("on")
    axes[1, 3].hist(difference[difference != 0].ravel(), bins=101, range=(-1, 1), log=True)
    axes[1, 3].set_title(f"{np.mean(np.abs(difference) <= 0.5001):.3%} of voxels within rounding", fontsize=10)
    fig.savefig(path, dpi=80)
    return difference


if __name__ == "__main__":
    main(*sys.argv[1:])
