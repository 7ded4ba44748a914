"""Captures and results as files, whole and damaged."""
import json

import numpy as np
import pytest

import cali


def test_captures_are_read_as_the_program_reads_them(demo, tmp_path):
    raw = demo.read("flat_5000K.raw")
    assert raw.dtype == np.uint32 and raw.shape == (480, 640) and raw.flags.c_contiguous
    pgm = cali.read_capture(demo.folder / "flat_5000K.pgm", pattern="rggb")
    assert (pgm.bits, pgm.pattern) == (12, cali.Pattern.RGGB) and (pgm.frame == raw).all()
    # Depths: scaled up, rounded, limited.
    codes = np.array([[0, 7, 8, 24], [1000, 65527, 65528, 65535]], np.uint16)
    for order in "<>":
        (tmp_path / "words.raw").write_bytes(codes.astype(order + "u2").tobytes())
        words = cali.read_capture(tmp_path / "words.raw", width=4, height=2, bits=16, big_endian=order == ">")
        assert words.frame.tolist() == [[0, 0, 1, 2], [63, 4095, 4095, 4095]]
    (tmp_path / "bytes.raw").write_bytes(bytes(range(8)))
    assert cali.read_capture(tmp_path / "bytes.raw", width=4, height=2, bits=8).frame[1, 3] == 7 << 4
    (tmp_path / "note.pgm").write_bytes(b"P5\n# by hand\n2 # columns\n1\n1023\n\x00\x01\x03\xff")
    assert cali.read_capture(tmp_path / "note.pgm").frame.tolist() == [[4, 1023 << 2]]


@pytest.mark.parametrize("content, told, text", [
    (b"P5\n2 2\n255\nabc", {}, "truncated, 3 bytes of samples, expected 4"),
    (b"P5\n2 x\n255\nabcd", {}, "no binary PGM"),
    (b"P5\n2 2\n70000\nabcd", {}, "up to 70000"),
    (b"P5\n2 2\n255\nabcd", {"width": 3}, "its width is 2, expected 3"),
    (b"P5\n1 1\n1023\n\x04\x00", {}, "a code of 1024, expected at most 1023 for 10 bits"),
    (b"abcdefg", {"width": 2, "height": 2, "bits": 12}, "7 bytes, expected 8"),
    (b"abcdefgh", {}, "a headerless file, expected width, height and bits"),
    (b"abcdefgh", {"width": 2, "height": 2, "bits": 17}, "bits is 17, expected 8 to 16"),
])
def test_damaged_captures_are_named(tmp_path, content, told, text):
    file = tmp_path / "capture"
    file.write_bytes(content)
    with pytest.raises(ValueError, match=text):
        cali.read_capture(file, **told)


def test_results_are_read_whole(demo, tmp_path):
    file = demo.folder / "results.json"
    content = json.loads(file.read_text())
    results = demo.results

    def compare(record, found, place):
        if isinstance(found, dict):
            for key, value in found.items():
                compare(record[key] if isinstance(record, dict) else getattr(record, key), value, f"{place}.{key}")
        elif isinstance(found, list) and isinstance(record, list):
            assert len(record) == len(found), place
            for i, value in enumerate(found):
                compare(record[i], value, f"{place}[{i}]")
        else:
            assert found is None or np.array_equal(record, found), place

    compare(results, content, "")
    assert results.verdict == "pass" and results.truth.seed == content["truth"]["seed"]
    assert results.gain_model is None and results.colour_matrix[0].matrix.shape == (3, 3)

    def refused(change, text):
        changed = json.loads(file.read_text())
        change(changed)
        (tmp_path / "changed.json").write_text(json.dumps(changed))
        with pytest.raises(ValueError, match=text):
            cali.read_results(tmp_path / "changed.json")

    refused(lambda c: c.update(schema=4), "changed.json: schema is 4, expected 3")
    refused(lambda c: c["sensor"].pop("bits"), r"changed.json: sensor\.bits is missing")
    refused(lambda c: c["sensor"].update(bits="12"), r"sensor\.bits is '12', expected a whole number")
    refused(lambda c: c.update(verdict="good"), "verdict is 'good', expected 'pass' or 'warn' or 'fail'")
    refused(lambda c: c["lens_shading"][1]["mesh"].update(extra=1), r"lens_shading\[1\]\.mesh has the key 'extra'")
    refused(lambda c: c["colour_matrix"][0]["matrix"][1].pop(), r"matrix is .*, expected numbers in rows of one length")
    refused(lambda c: c["white_balance_curve"]["pack"].append(0.5), "pack is .*, expected whole numbers")
    (tmp_path / "text.json").write_text("{")
    with pytest.raises(ValueError, match="text.json: no JSON"):
        cali.read_results(tmp_path / "text.json")
