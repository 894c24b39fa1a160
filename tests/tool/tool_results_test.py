"""Holds what the tool writes and finds against the same made slowly: numbers, pictures, files of
channels, faults and differences.

Usage: tool_results_test.py PATH_OF_QUIVO"""
import json, math, random, struct, unittest
from pathlib import Path

from support import GREY, SET, ToolTest, call, decode_png, read, read_npy, write_tiff

COMMON_TYPES = [  # codes of the array module, the narrowest type that holds all of them
    ("BB", "u8"), ("BH", "u16"), ("Bb", "i16"), ("Hb", "i32"), ("BI", "u32"), ("Ii", "i64"),
    ("Bf", "f32"), ("If", "f64"), ("Hd", "f64"),
]

def describe(path):
    return json.loads(call("info", path, "--json").stdout)

def replace(source, target, old, new):
    """A copy in which the only place of some bytes holds others."""
    data = Path(source).read_bytes()
    assert data.count(old) == 1 and len(old) == len(new), data.count(old)
    Path(target).write_bytes(data.replace(old, new))

class Results(ToolTest):
    def test_numpy_files(self):
        write_tiff("bytes.tif", 13, 11, "b", [v % 256 - 128 for v in GREY])
        call("merge", "two.tif", "a,1=grey.tif", "b=bytes.tif")
        part = [GREY[y * 13 + x] for y in range(2, 4) for x in range(5, 8)]
        signed = [v % 256 - 128 for v in part]
        box = "--box 5,2,3,2"
        for args, expected in (
            ("stack.tif --all-slices", ("<u2", (1, 2, 11, 13), GREY + GREY[::-1])),
            ("stack.tif#z=1", ("<u2", (1, 1, 11, 13), GREY[::-1])),
            (f"bytes.tif {box}", ("|i1", (1, 1, 2, 3), signed)),
            (f"two.tif {box} --channels b --channels a,1 --type f32",
             ("<f4", (2, 1, 2, 3), signed + part)),
            (f"two.tif {box} --channels b,0 --type f64", ("<f8", (2, 1, 2, 3), signed + part)),
        ):
            call("read", *args.split(), "--output", "o.npy", "--force")
            self.assertEqual(read_npy(Path("o.npy").read_bytes()), expected, args)
            piped = call("read", *args.split(), "--format", "npy").stdout
            self.assertEqual(piped, Path("o.npy").read_bytes(), args)

    def test_a_picture_shows_all_but_the_outermost_values(self):
        chance = random.Random(11)
        values = [chance.choice((0, 65535, chance.randrange(900, 5000))) if chance.random() < 0.002
                  else chance.randrange(1000, 4000) for _ in range(600 * 500)]
        for no_data in "", "0":
            values[:1000] = [0] * 1000
            write_tiff("wide.tif", 600, 500, "H", values, no_data=no_data)
            # Level 1 has 75,000 pixels, level 2 has too few.
            level1 = sorted(v for v in read("wide.tif", 1)[0] if not no_data or v != 0)
            low, high = (level1[math.ceil(share * len(level1)) - 1] for share in (0.001, 0.999))
            self.assertEqual((low > 900, 3900 < high < 65535), (bool(no_data), True))
            call("render", "wide.tif", "o.png", "--box", "0,0,600,9", "--force")
            width, height, channels, pixels = decode_png("o.png")
            first = 1000 if no_data else 0  # what has no value is another matter
            for value, pixel in list(zip(values, pixels[::channels]))[first:600 * 9]:
                light = min(max((value - low) / (high - low), 0), 1) * 255
                self.assertLessEqual(abs(pixel - light), 0.5 + 1e-9, value)

    def test_channels_are_mixed_as_lights(self):
        write_tiff("b.tif", 13, 11, "H", GREY[::-1])
        call("merge", "two.tif", "a=grey.tif", "c=b.tif")
        call("render", "two.tif", "o.png", "--channels", "c=ff8000:20000,50000;a=blue:60000,1000",
             "--channels", "c=#004000:0,1", "--level", "0")
        expected = []
        for a, c in zip(GREY, GREY[::-1]):
            light = lambda value, low, high: min(max((value - low) / (high - low), 0), 1)
            one, two, three = light(c, 20000, 50000), light(a, 60000, 1000), light(c, 0, 1)
            mixed = one, one * 128 / 255 + three * 64 / 255, two
            expected += [min(part, 1) * 255 for part in mixed]
        width, height, channels, pixels = decode_png("o.png")
        self.assertEqual((width, height, channels), (13, 11, 3))
        self.assertLessEqual(max(abs(p - e) for p, e in zip(pixels, expected)), 0.5 + 1e-9)

    def test_the_kind_of_a_picture(self):
        for name, options, kind in (("o.JPEG", [], b"\xff\xd8\xff"), ("o.png", [], b"\x89PNG"),
                                    ("o", ["--format", "jpeg"], b"\xff\xd8\xff")):
            call("render", SET, name, "--size", "90", *options)
            data = Path(name).read_bytes()
            self.assertTrue(data.startswith(kind), name)
            if kind[1:2] == b"\xd8":  # the frame header of a baseline JPEG: height, width
                at = data.index(b"\xff\xc0")
                self.assertEqual(struct.unpack_from(">HHB", data, at + 5), (64, 90, 3))
                self.assertTrue(data.endswith(b"\xff\xd9"))
                options = ["--format", "jpeg"]
            self.assertEqual(call("render", SET, "-", "--size", "90", *options).stdout, data)
        sizes = [len(call("render", SET, "-", "--format", "jpeg", "--quality", quality).stdout)
                 for quality in ("5", "50", "95")]
        self.assertEqual(sizes, sorted(set(sizes)))

    def test_merged_channels_have_the_narrowest_type(self):
        ends = {"B": (0, 255), "b": (-128, 127), "H": (0, 65535), "I": (0, 2 ** 32 - 1),
                "i": (-2 ** 31, 2 ** 31 - 1), "f": (-0.5, 2.0 ** 100), "d": (0.1, 1e300)}
        for codes, type_name in COMMON_TYPES:
            for i, code in enumerate(codes):
                write_tiff(f"{i}.tif", 2, 1, code, ends[code])
            result = call("merge", "o.tif", "a=0.tif", "b=1.tif", "--force")
            self.assertEqual((result.returncode, result.stderr), (0, b""), codes)
            self.assertEqual(describe("o.tif")["sampleType"], type_name, codes)
            self.assertEqual(read("o.tif")[0], [v for code in codes for v in ends[code]], codes)

    def test_what_is_split_and_merged_again_is_equal(self):
        call("convert", SET, "set.tif")
        call("split", "set.tif", "part {channel}-{slice}.tif")
        names = [f"{name}=part {name}-0.tif" for name in ("Red", "Green", "Blue")]
        call("merge", "again.tif", *names)
        for i, name in enumerate(("Red", "Green", "Blue")):
            self.assertEqual(call("compare", f"part {name}-0.tif", f"set.tif#c={i}").returncode, 0)
        self.assertEqual(call("compare", "set.tif", "again.tif").returncode, 0)
        self.assertEqual(describe("again.tif")["levels"], describe("set.tif")["levels"])
        call("split", "stack.tif", "{slice}.tif")
        self.assertEqual(read("1.tif")[0], GREY[::-1])

    def test_layouts_hold_the_same(self):
        for layout, mark in (("plain", b"II"), ("ome", b"<OME "),
                             ("cog", b"LAYOUT=IFDS_BEFORE_DATA")):
            result = call("convert", SET, "o.tif", "--layout", layout, "--tile", "64", "--force")
            self.assertEqual((result.returncode, result.stderr), (0, b""), layout)
            self.assertIn(mark, Path("o.tif").read_bytes(), layout)
            self.assertEqual(sum(level["stored"] for level in describe("o.tif")["levels"]), 5)
            result = call("verify", "o.tif", "--against", SET)
            self.assertEqual((result.returncode, result.stdout.count(b"\n")), (0, 2), layout)

    def test_compare_tells_how_far(self):
        changed = list(GREY)
        changed[14] += 16
        write_tiff("changed.tif", 13, 11, "H", changed)
        write_tiff("other.tif", 13, 11, "H", GREY, no_data="3")
        write_tiff("thin.tif", 11, 13, "H", GREY)
        for args, status, part in (
            ("grey.tif grey.tif", 0, "all values are equal"),
            ("grey.tif stack.tif#z=0 --metadata", 0, "all values are equal"),
            ("grey.tif other.tif", 0, "no-data: nothing and 3"),
            ("grey.tif other.tif --metadata", 1, "no-data: nothing and 3"),
            ("grey.tif changed.tif", 1, "1 of 143 values differs, by 16 at most and 0.1119 on "
                                        "average, first at 1,1 of slice 0, PSNR 93.8 dB"),
            ("grey.tif changed.tif --quiet", 1, ""),
            ("grey.tif thin.tif", 1, "13 x 11 x 1 and 11 x 13 x 1"),
            ("grey.tif stack.tif", 1, "13 x 11 x 1 and 13 x 11 x 2"),
        ):
            result = call("compare", *args.split())
            self.assertEqual((result.returncode, result.stderr), (status, b""), args)
            self.assertIn(part, result.stdout.decode(), args)
            if "--quiet" in args: self.assertEqual(result.stdout, b"")

    def test_verify_finds_what_is_wrong(self):
        pixels = [(x * x + 3 * y * y + x * y) % 251 for y in range(32) for x in range(32)]
        write_tiff("plain.tif", 32, 32, "B", pixels)
        call("convert", "plain.tif", "good.tif", "--tile", "16", "--compression", "none")
        level1 = call("read", "good.tif", "--level", "1", "--type", "native").stdout
        every_fourth = bytes(pixels[y * 32 + x] for y in range(0, 32, 2) for x in range(0, 32, 2))
        tile0 = bytes(pixels[y * 32 + x] for y in range(16) for x in range(16))
        replace("good.tif", "one.tif", level1, level1[:-1] + bytes([level1[-1] ^ 1]))
        replace("good.tif", "rule.tif", level1, every_fourth)
        replace("good.tif", "inverse.tif", level1, bytes(255 - v for v in level1))
        replace("good.tif", "value.tif", tile0, bytes([tile0[0] ^ 64]) + tile0[1:])
        call("convert", "plain.tif", "packed.tif", "--tile", "16")
        data = Path("packed.tif").read_bytes()
        at = data.index(b"\x78", 8)  # where the first tile begins
        Path("broken.tif").write_bytes(data[:at] + bytes(8) + data[at + 8:])
        for args, status, parts in (
            ("good.tif --against plain.tif", 0, ["note: level 0 is equal", "sound"]),
            ("one.tif", 1, ["level 1: is not the mean", "1 of 256 values differs, by 1 "]),
            ("rule.tif", 0, ["note: level 1: was made by another rule", "sound"]),
            ("inverse.tif", 1, ["level 1: does not show what level 0 shows"]),
            ("value.tif", 1, ["level 1: is not the mean", "1 finding"]),
            ("value.tif --against plain.tif", 1, ["1 of 1024 values differs, by 64", "2 findings"]),
            ("good.tif --against grey.tif", 1, ["extent: 32 x 32 x 1 and 13 x 11 x 1"]),
            ("broken.tif", 1, ["1 damaged tile", "1 finding"]),
        ):
            result = call("verify", *args.split())
            self.assertEqual((result.returncode, result.stderr), (status, b""), args)
            for part in parts: self.assertIn(part, result.stdout.decode(), args)
        for command in ("convert broken.tif o.tif", "read broken.tif --output o.f64",
                        "render broken.tif o.png"):
            self.assertEqual(call(*command.split()).returncode, 1)
            self.assertFalse(list(Path().glob("o.*")), command)
            result = call(*command.split(), "--damaged", "fill", "--quiet")
            self.assertEqual(result.returncode, 3, command)
            self.assertRegex(result.stderr.decode(),
                             r"\Aquivo: warning: [^\n]*1 damaged tile[^\n]*\n\Z")
            Path(command.split()[-1]).unlink()

if __name__ == "__main__":
    unittest.main()
