"""numpy arrays through the module: round trips, the C++ engines' exact bytes, refusals."""
import threading
import warnings

import numpy as np
import pytest

import vandrel
from conftest import BAD_HANDLE

RNG = np.random.default_rng(20)


def random_image(shape, dtype):
    return RNG.integers(0, np.iinfo(dtype).max + 1, size=shape, dtype=dtype)


@pytest.mark.parametrize("shape,dtype,ext", [
    ((23, 17, 3), np.uint8, ".png"),
    ((23, 17, 3), np.uint16, ".png"),
    ((23, 17), np.uint8, ".png"),
    ((23, 17), np.uint16, ".tif"),
    ((23, 17, 4), np.uint8, ".png"),
    ((23, 17, 4), np.uint16, ".tif"),
    ((23, 17, 3), np.uint16, ".ppm"),
    ((23, 17), np.uint8, ".pgm"),
])
def test_lossless_round_trip(tmp_path, shape, dtype, ext):
    image = random_image(shape, dtype)
    path = tmp_path / f"image{ext}"
    vandrel.write(path, image)
    back = vandrel.read(path)
    assert back.dtype == image.dtype and back.shape == image.shape
    np.testing.assert_array_equal(back, image)
    facts = vandrel.info(path)
    assert (facts["width"], facts["height"]) == (shape[1], shape[0])
    assert facts["alphaDepth"] == (8 * image.itemsize if image.ndim == 3 and shape[2] == 4 else 0)


def test_sixteen_bits_go_to_jpeg_at_eight(tmp_path):
    ramp = np.linspace(0, 65535, 32 * 32, dtype=np.uint16).reshape(32, 32)
    image = np.dstack([ramp, ramp.T, 65535 - ramp])
    vandrel.write(tmp_path / "a.jpg", image, quality=95)
    back = vandrel.read(tmp_path / "a.jpg")
    assert back.dtype == np.uint8 and back.shape == image.shape
    # The reduction dithers, and JPEG is lossy: the picture stays close, not equal.
    assert np.abs(back.astype(int) - (image >> 8).astype(int)).mean() < 4


def tool_resized(tool, tmp_path, image, *options):
    """The tool's result for the same pixels: PPM/PGM in and out, alpha through PNG."""
    alpha = image.ndim == 3 and image.shape[2] == 4
    grey = image.ndim == 2
    ext = ".png" if alpha else ".pgm" if grey else ".ppm"
    vandrel.write(tmp_path / f"in{ext}", image)
    tool("convert", tmp_path / f"in{ext}", tmp_path / f"out{ext}", *options)
    result = vandrel.read(tmp_path / f"out{ext}")
    return result[..., 0] if grey and result.ndim == 3 else result


@pytest.mark.parametrize("shape,dtype", [
    ((37, 29, 3), np.uint8), ((37, 29, 3), np.uint16), ((37, 29), np.uint8),
    ((37, 29, 4), np.uint8)])
@pytest.mark.parametrize("method", ["nearest", "bilinear", "bicubic", "quorix"])
@pytest.mark.parametrize("size", [(13, 50), (61, 9)])
def test_resize_is_byte_identical_to_the_tool(tool, tmp_path, shape, dtype, method, size):
    image = random_image(shape, dtype)
    ours = vandrel.resize(image, size[0], size[1], method=method)
    theirs = tool_resized(tool, tmp_path, image, "--size", f"{size[0]}x{size[1]}",
                          "--method", method)
    assert ours.dtype == image.dtype
    np.testing.assert_array_equal(ours, theirs)


@pytest.mark.parametrize("shape,dtype", [
    ((31, 44, 3), np.uint8), ((31, 44, 3), np.uint16), ((31, 44), np.uint8),
    ((31, 44, 4), np.uint8)])
@pytest.mark.parametrize("degrees,method", [
    (30, "nearest"), (-17.5, "bilinear"), (200, "bicubic"), (90, "nearest"), (270, "bicubic")])
def test_rotate_is_byte_identical_to_the_tool(tool, tmp_path, shape, dtype, degrees, method):
    image = random_image(shape, dtype)
    # Grey images always get black corners; the tool, which rotates them as RGB, is asked so.
    background = "000000" if image.ndim == 2 else "4080c0"
    ours = vandrel.rotate(image, degrees, method=method, background=background)
    theirs = tool_resized(tool, tmp_path, image, "--rotate", degrees, "--method", method,
                          "--background", background)
    np.testing.assert_array_equal(ours, theirs)


def test_threads_get_the_same_answers(tmp_path):
    images = [random_image((64, 48, 3), np.uint8) for _ in range(4)]
    expected = [vandrel.resize(vandrel.rotate(i, 33), 40) for i in images]
    answers = [None] * len(images)

    def work(k):
        path = tmp_path / f"t{k}.png"
        for _ in range(5):
            vandrel.write(path, images[k])
            answers[k] = vandrel.resize(vandrel.rotate(vandrel.read(path), 33), 40)
            vandrel.thumbnail(path, tmp_path / f"t{k}.jpg", 20)

    threads = [threading.Thread(target=work, args=(k,)) for k in range(len(images))]
    for t in threads:
        t.start()
    for t in threads:
        t.join()
    for got, want in zip(answers, expected):
        np.testing.assert_array_equal(got, want)
    vandrel.thumbnail(tmp_path / "t0.png", tmp_path / "alone.jpg", 20)
    assert (tmp_path / "alone.jpg").read_bytes() == (tmp_path / "t0.jpg").read_bytes()


def test_thumbnail_writes_the_tools_file(tool, tmp_path):
    source = tmp_path / "in.png"
    vandrel.write(source, random_image((120, 90, 4), np.uint8))
    vandrel.thumbnail(source, tmp_path / "ours.jpg", 40, quality=80)
    tool("convert", source, tmp_path / "theirs.jpg", "--width", 40, "--method", "bicubic",
         "--quality", 80)
    assert (tmp_path / "ours.jpg").read_bytes() == (tmp_path / "theirs.jpg").read_bytes()
    assert [p.name for p in tmp_path.iterdir() if p.name.startswith(".")] == []


@pytest.mark.parametrize("name,ours,theirs", [
    ("orientation/landscape_6.jpg", {}, []),
    ("orientation/landscape_6.jpg", {"no_rotate": True, "strip": True}, ["--no-rotate", "--strip"]),
    ("Canon_40D.jpg", {"progressive": True, "subsample": 444, "quality": 90},
     ["--progressive", "--subsample", "444", "--quality", "90"]),
    ("Canon_40D.jpg", {"shrink_on_load": False}, ["--no-shrink-on-load"]),
])
def test_thumbnail_follows_the_tools_options(tool, corpus, tmp_path, name, ours, theirs):
    source = corpus / "exif" / "jpg" / name
    vandrel.thumbnail(source, tmp_path / "ours.jpg", 64, **ours)
    tool("convert", source, tmp_path / "theirs.jpg", "--width", 64, *theirs)
    assert (tmp_path / "ours.jpg").read_bytes() == (tmp_path / "theirs.jpg").read_bytes()


def test_writer_settings_reach_the_writer(tmp_path):
    image = np.tile(np.arange(64, dtype=np.uint8), (64, 3)).reshape(64, 64, 3)
    vandrel.write(tmp_path / "loose.png", image, compression=0)
    vandrel.write(tmp_path / "tight.png", image, compression=9)
    assert (tmp_path / "tight.png").stat().st_size < (tmp_path / "loose.png").stat().st_size
    np.testing.assert_array_equal(vandrel.read(tmp_path / "tight.png"), image)
    with pytest.raises(ValueError, match="quality"):
        vandrel.write(tmp_path / "x.png", image, quality=90)


GOOD = np.zeros((4, 4, 3), np.uint8)
BAD_ARRAYS = [
    (np.zeros((4, 4, 3), np.float32), TypeError),
    (np.zeros((4, 4, 3), np.int16), TypeError),
    (np.zeros((4, 4, 3), ">u2"), TypeError),
    ([[1, 2], [3, 4]], TypeError),
    (np.zeros((4, 4, 2), np.uint8), ValueError),
    (np.zeros(16, np.uint8), ValueError),
    (np.zeros((0, 4, 3), np.uint8), ValueError),
    (np.zeros((4, 8, 3), np.uint8)[:, ::2], ValueError),
]


@pytest.mark.parametrize("array,error", BAD_ARRAYS)
def test_unfit_arrays_are_refused(tmp_path, array, error):
    for call in (lambda: vandrel.write(tmp_path / "x.png", array),
                 lambda: vandrel.resize(array, 2, 2),
                 lambda: vandrel.rotate(array, 10)):
        with pytest.raises(error):
            call()
    assert not (tmp_path / "x.png").exists()


@pytest.mark.parametrize("call", [
    lambda p: vandrel.resize(GOOD, 2, 2, method="lanczos"),
    lambda p: vandrel.rotate(GOOD, 5, background="red"),
    lambda p: vandrel.write(p / "x.png", GOOD, depth=32),
    lambda p: vandrel.write(p / "x.png", GOOD, quality=0),
    lambda p: vandrel.thumbnail(p / "in.png", p / "x.png", -1),
    lambda p: vandrel.tags(p / "in.png", ["date"]),
])
def test_unfit_options_are_refused(tmp_path, call):
    with pytest.raises(ValueError):
        call(tmp_path)


def test_bad_files_raise_with_the_tools_words(tool, tmp_path):
    missing = tmp_path / "missing.png"
    with pytest.raises(vandrel.Error) as caught:
        vandrel.read(missing)
    assert caught.value.code == BAD_HANDLE
    assert caught.value.file == str(missing)
    said = tool("info", missing, check=False).stderr.strip()
    assert said == f"vandrel: {caught.value}"

    (tmp_path / "text.png").write_text("not a picture at all\n" * 10)
    whole = tmp_path / "whole.jpg"
    vandrel.write(whole, random_image((64, 64, 3), np.uint8))
    (tmp_path / "cut.jpg").write_bytes(whole.read_bytes()[:300])
    for bad in ("text.png", "cut.jpg"):
        for call in (vandrel.read, vandrel.info,
                     lambda p: vandrel.thumbnail(p, tmp_path / "t.png", 8)):
            try:
                call(tmp_path / bad)
            except vandrel.Error as error:
                assert error.code < 0 and str(error).startswith(str(tmp_path / bad))


def test_corrupt_corpus_files_raise_or_warn(corpus):
    for path in sorted((corpus / "png").glob("x*.png")):
        try:
            with warnings.catch_warnings():
                warnings.simplefilter("ignore")
                vandrel.read(path)
        except vandrel.Error as error:
            assert error.code < 0
