"""Harmonics against the functions as they are, bit for bit, and against scipy."""

import pickle

import numpy as np
import pytest
from scipy import special

import vekr
import vekr.lib as lib
from vekr import sh


def directions_of(rng, shape):
    d = rng.normal(size=(*shape, 3))
    return (d / np.linalg.norm(d, axis=-1, keepdims=True)).astype(np.float32)


def scipy_basis(directions, max_band):
    """Real harmonics out of scipy's complex ones."""
    x, y, z = np.moveaxis(directions.astype(float), -1, 0)
    phi, theta = np.arctan2(y, x), np.arccos(np.clip(z, -1, 1))
    values = []
    for band in range(max_band + 1):
        for order in range(-band, band + 1):
            y_complex = special.sph_harm(abs(order), band, phi, theta)
            part = y_complex.imag if order < 0 else y_complex.real
            values.append(part * (np.sqrt(2) if order else 1))
    return np.stack(values, -1)


@pytest.mark.parametrize("method,band,tolerance", [("recurrent", 15, 3e-5), ("direct", 6, 5e-6)])
def test_values_are_scipys(rng, method, band, tolerance):
    directions = directions_of(rng, (50, 7))
    values = sh.Basis(band, method).evaluate(directions)
    assert values.shape == (50, 7, (band + 1) ** 2)
    wanted = scipy_basis(directions, band)
    assert np.abs(values - wanted).max() < tolerance * 3
    assert np.abs(sh.evaluate_band(3, directions) - wanted[..., sh.band_slice(3)]).max() < 1e-5


@pytest.mark.parametrize("method", ["recurrent", "direct"])
def test_values_are_the_librarys_bits_for_any_threads(rng, method):
    directions = directions_of(rng, (20000,))
    x, y, z = (np.ascontiguousarray(directions[:, k]) for k in range(3))
    basis = sh.Basis(9, method)
    wanted = np.empty((20000, 64), np.float32)
    lib.vekrSH_32f(x, y, z, 20000, wanted, 7, basis._state)
    for threads in (1, 3):
        assert basis.evaluate(directions, 7, threads=threads).tobytes() == wanted.tobytes()
    out = np.empty((20000, 64), np.float32)
    assert basis.evaluate(np.asfortranarray(directions), 7, out=out) is out and out.tobytes() == wanted.tobytes()
    band = np.empty((20000, 15), np.float32)
    lib.vekrSHBand_32f(x, y, z, 20000, band, 7)
    assert sh.evaluate_band(7, directions, threads=2).tobytes() == band.tobytes()


@pytest.mark.parametrize("channels", [(), (1,), (2,), (3,), (4,), (7,), (2, 3), (0,)])
def test_transforms_are_the_librarys_bits(rng, channels):
    directions = directions_of(rng, (300, 3))
    samples = rng.normal(size=(300, 3, *channels)).astype(np.float32)
    basis = sh.Basis(5)
    x, y, z = (np.ascontiguousarray(directions[..., k]).ravel() for k in range(3))
    flat = samples.reshape(900, -1)
    wanted = np.zeros((flat.shape[1], 36), np.float32)
    back = np.zeros((900, flat.shape[1]), np.float32)
    for c in range(flat.shape[1]):
        lib.vekrSHTFwd_32f_C1I(x, y, z, np.ascontiguousarray(flat[:, c]), 900, wanted[c], 5, basis._state)
    coefficients = basis.project(directions, samples)
    assert coefficients.shape == (36, *channels)
    assert np.array_equal(coefficients.reshape(36, -1), wanted.T)
    from vekr._rays import aligned

    for c in range(flat.shape[1]):
        column, row = np.empty(900, np.float32), aligned((36,))
        row[...] = wanted[c]
        lib.vekrSHTInv_32f_C1(row, 5, x, y, z, column, 900, basis._state)
        back[:, c] = column
    for threads in (1, 2):
        again = basis.reconstruct(coefficients, directions, threads=threads)
        assert again.shape == (300, 3, *channels) and np.array_equal(again.reshape(900, -1), back)


def test_projection_with_weights_finds_the_coefficients_again(rng):
    directions, weights = sh.panorama_directions(64, 128)
    assert abs(weights.sum() - 4 * np.pi) < 1e-3
    assert np.allclose(np.linalg.norm(directions, axis=-1), 1, atol=1e-6)
    basis = sh.Basis(4)
    wanted = rng.normal(size=(25, 3)).astype(np.float32)
    found = basis.project(directions, basis.reconstruct(wanted, directions), weights=weights)
    assert np.abs(found - wanted).max() < 1e-2


def test_irradiance_is_the_cosine_sum():
    directions, weights = sh.panorama_directions(64, 128)
    light = np.where(directions[..., 2] > 0.2, 3.0, 0.1)
    coefficients = sh.Basis(6).project(directions, light, weights=weights) * sh.irradiance_factors(6)
    for normal in ([0, 0, 1], [1, 0, 0], [0, 0.6, -0.8]):
        wanted = np.sum(light * weights * np.maximum(directions @ np.array(normal, np.float32), 0))
        assert abs(sh.Basis(6).reconstruct(coefficients, normal) - wanted) < 0.15


def test_index_helpers_are_inverse():
    for number in range(sh.count(15)):
        band, order = sh.band_order(number)
        assert sh.index(band, order) == number and number in range(*sh.band_slice(band).indices(256))
    with pytest.raises(ValueError):
        sh.index(1, 2)
    with pytest.raises(ValueError):
        sh.band_order(-1)


def test_a_basis_travels():
    basis = pickle.loads(pickle.dumps(sh.Basis(3, "direct")))
    assert repr(basis) == "vekr.sh.Basis(3, 'direct')" and len(basis) == 16


def test_no_directions_are_no_work():
    basis = sh.Basis(2)
    assert basis.evaluate(np.zeros((0, 3))).shape == (0, 9)
    assert (basis.project(np.zeros((0, 3)), np.zeros(0)) == 0).all()
    assert basis.reconstruct(np.zeros(9), np.zeros((4, 0, 3))).shape == (4, 0)


@pytest.mark.parametrize("call", [
    lambda b: sh.Basis(16), lambda b: sh.Basis(-1), lambda b: sh.Basis(2, "other"), lambda b: b.evaluate(np.zeros((4, 2))),
    lambda b: b.evaluate(np.zeros((4, 3)), 3), lambda b: b.project(np.zeros((4, 3)), np.zeros(5)),
    lambda b: b.project(np.zeros((4, 3)), np.zeros(4), weights=np.zeros(3)), lambda b: b.reconstruct(np.zeros(5), [0, 0, 1]),
    lambda b: b.reconstruct(np.zeros(16), [0, 0, 1]), lambda b: b.evaluate([0, 0, 1], out=np.zeros(8, np.float32)),
    lambda b: sh.evaluate_band(16, [0, 0, 1]), lambda b: b.reconstruct(1.0, [0, 0, 1])])
def test_wrong_arguments_are_refused(call):
    with pytest.raises(ValueError):
        call(sh.Basis(2))
