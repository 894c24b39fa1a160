"""Runs the tool in an empty folder and checks what it prints, writes and leaves behind.

Usage: tool_test.py PATH_OF_QUIVO"""
import json, os, pty, signal, subprocess, time, unittest
from pathlib import Path

from support import GREY, QUIVO, SET, ToolTest, call, decode_png, read, snapshot, write_tiff

BAD_CALLS = [  # arguments, exit status, a part of the message, why it is wrong
    ("", 2, "subcommand", "nothing to do"),
    ("draw x", 2, "draw", "no such subcommand"),
    ("info gone.tif", 1, "gone.tif", "no such file"),
    ("info keep.tif", 1, "keep.tif: is not a TIFF file", "not an image"),
    ("info grey.tif#2", 1, "no page 2", "one page"),
    ("info grey.tif#t=2", 1, "no time 2", "one time"),
    ("info stack.tif#z=2", 1, "slices 0 to 1", "two slices"),
    (f"info {SET}#c=Rot", 1, "1 (Green)", "no such channel: tell which there are"),
    ("info mandelbrot:0x7", 1, "from 1 to", "an image has pixels"),
    ("info mandelbrot:7x1099511627777", 1, "1099511627776", "one above the limit"),
    (f"convert {SET} o.tif --tile 100", 2, "--tile", "no multiple of 16"),
    (f"convert {SET} o.tif --threads 0", 2, "--threads", "work needs a thread"),
    (f"convert {SET} o.tif --compression zip", 2, "deflate", "unknown: tell the known names"),
    (f"convert {SET} o.tif --type f32 --compression jpeg", 1, "u8", "JPEG holds bytes"),
    ("convert mandelbrot:4294967296x16 o.tif", 1, "4294967295", "TIFF has 32-bit sides"),
    (f"convert {SET} gone/o.tif", 1, "gone/o.tif", "no such folder"),
    *((f"{start} .", 1, ".: is a folder", "no file can be there") for start in
      (f"convert {SET}", f"render {SET} --format png", f"read {SET} --output")),
    (f"convert {SET} o.tif --quality 50", 2, "--compression jpeg", "deflate has no quality"),
    (f"convert {SET} -", 2, "needs a file", "a TIFF is not written in one go"),
    ("convert stack.tif o.tif --layout cog", 1, "one slice", "a cloud optimized file is a picture"),
    ("convert grey.tif hard.tif --force", 1, "input", "the input under another name"),
    ("convert grey.tif soft.tif --force", 1, "input", "the input behind a link"),
    ("convert grey.tif keep.tif", 1, "--force", "exists, and nobody said to replace it"),
    (f"convert {SET} o.tif --scale 1", 2, "--scale", "nothing is enlarged"),
    (f"convert {SET} o.tif --scale 0.5 --levels source", 2, "--levels", "they fit no pyramid"),
    ("convert grey.tif o.tif --scale 0.08", 1, "13 x 11", "nothing remains"),
    ("convert grey.tif o.tif --level 1 --box 6,0,9,9", 1, "6 x 5", "wholly outside"),
    ("merge o.tif a", 2, "NAME=INPUT", "no file"),
    ("merge o.tif =grey.tif", 2, "NAME=INPUT", "no name"),
    ("merge o.tif a=grey.tif b=stack.tif", 1, "stack.tif: is 13 x 11 x 2", "two slices"),
    ("merge o.tif a=grey.tif b=mandelbrot:13x11", 1, "mandelbrot:13x11#c=0", "RGB: tell the way"),
    ("merge o.tif a=grey.tif a=grey.tif", 2, "\"a\"", "the same name twice"),
    ("split stack.tif o.tif", 2, "{slice}", "all parts in one file"),
    ("split same.tif o-{channel}.tif", 1, "channel 0 and channel 1", "all parts in one file"),
    ("split stack.tif {slice}.tif", 1, "1.tif", "the second file would replace one"),
    ("verify gone.tif", 1, "gone.tif", "no such file"),
    ("compare grey.tif", 2, "B", "one alone is equal to nothing"),
    (f"render {SET} o.png --size 9 --level 1", 2, "--level", "either says which level"),
    (f"render {SET} o.png --size 9 --scale 0.5", 2, "--scale", "either says how large"),
    (f"render {SET} o.png --level 9", 1, "0 to 8", "no such level: tell the valid ones"),
    (f"render {SET} o.png --slice 1", 1, "slice 0", "no such slice"),
    ("render mandelbrot:4294967296x2 o.png --level 0", 1, "2147483647", "PNG has 31-bit sides"),
    (f"render {SET} o.gif", 2, "--format", "a picture of no known kind"),
    (f"render {SET} o.png --quality 9", 2, "--quality", "a PNG has none"),
    (f"render {SET} o.jpg --level 0 --box 0,0,65501,1", 1, "65500", "JPEG has 16-bit sides"),
    (f"render {SET} o.png --channels Red=rot", 2, "ff8000", "no colour: tell which there are"),
    (f"render {SET} o.png --range 5,5", 2, "MIN,MAX", "nothing between them"),
    (f"render {SET} keep.tif --format png", 1, "--force", "nobody said to replace it"),
    *((f"render {SET} /dev/full --format {kind}", 1, "/dev/full", "the disk is full")
      for kind in ("png", "jpeg")),
    (f"read {SET} --level -1", 1, "0 to 8", "no such level"),
    (f"read {SET} --box 1,2,3", 2, "X,Y,W,H", "one number is missing"),
    (f"read {SET} --box 1,2,3,0", 2, "at least 1", "an empty region"),
    (f"read {SET} --box 9223372036854775807,0,2,1", 2, "--box", "ends past the 64 bits"),
    ("read mandelbrot:1099511627776x1099511627776", 1, "hold", "no such file system"),
    (f"read {SET} --channels 0,Red", 1, "twice", "the same one by name and number"),
    ("read stack.tif --slice 1 --all-slices", 2, "--all-slices", "either says which"),
    (f"read {SET} --output keep.tif", 1, "--force", "nobody said to replace it"),
    (f"read {SET} --output /dev/full", 1, "/dev/full", "the disk is full"),
    *((f"{start} {'x' * 256}.png", 1, "x.png: cannot create: File name too long",
       "no file can have it")
      for start in (f"convert {SET}", f"render {SET}", f"read {SET} --output")),
]

class Tool(ToolTest):
    def test_bad_calls_end_with_one_line_and_leave_nothing(self):
        Path("keep.tif").write_text("precious")
        os.link("grey.tif", "hard.tif")
        os.symlink("grey.tif", "soft.tif")
        call("merge", "same.tif", "a/b=grey.tif", "a:b=grey.tif")  # one name in file systems
        Path("1.tif").touch()
        before = snapshot()
        for args, status, part, reason in BAD_CALLS:
            with self.subTest(args=args, reason=reason):
                result = call(*args.split())
                self.assertEqual(result.returncode, status, result.stderr)
                self.assertRegex(result.stderr.decode(), r"\Aquivo: [^\n]+\n\Z")
                self.assertIn(part, result.stderr.decode())
                self.assertEqual(snapshot(), before)

    def test_info_is_json(self):
        info = json.loads(call("info", SET, "--json").stdout)
        self.assertEqual(info.pop("levels"), [{"extent": [700 >> level, 500 >> level, 1],
                         "voxelSize": [0, 0, 0], "resolution": None, "stored": False} for level in range(9)])
        expected = {"extent": [700, 500, 1], "channels": 3, "valueRange": [0, 255],
                    "channelNames": ["Red", "Green", "Blue"], "tileExtent": [256, 256, 1],
                    "id": "", "groupId": "", "areaMM2": None, "sampleType": "u8",
                    "colourModel": "rgb", "alpha": "none", "noData": None}
        self.assertEqual(info, info | expected)
        info = json.loads(call("info", "../" + Path.cwd().name + "/grey.tif", "--json").stdout)
        self.assertEqual((info["id"], info["groupId"]), ("grey", Path.cwd().name))
        self.assertEqual([level["resolution"] for level in info["levels"]], [400, 200, 100, 50])
        self.assertAlmostEqual(info["areaMM2"], 13 * 11 / 400 ** 2, 15)
        self.assertEqual((info["sampleType"], info["pixelSize"]), ("u16", [2500, 2500, None]))
        self.assertEqual(info["facts"]["layout"], "strips of 11 rows")
        page = json.loads(call("--", "info", "stack.tif#2", "--json").stdout)
        self.assertEqual([part["selector"] for part in page["otherParts"]], ["#1"])
        # Names may be any bytes: no forged lines, no broken JSON.
        name = os.fsdecode(b"\xff\n\xce\xbc\xe2\x82.tif")
        os.link("grey.tif", name)
        lines = [call("info", path).stdout.count(b"\n") for path in ("./grey.tif", "./" + name)]
        self.assertEqual(lines[0], lines[1])
        info = json.loads(call("info", "./" + name, "--json").stdout.decode())
        self.assertEqual(info["id"], "\ufffd\n\u03bc\ufffd\ufffd")
        os.remove(name)

    def test_what_is_cut_or_thin_keeps_its_place_and_its_values(self):
        # A box that begins inside a pixel of the stored level 1: its level is made anew.
        call("convert", SET, "set.tif", "--tile", "16", "--levels", "source")
        for x, options in ((3, ["--levels", "previous"]), (64, ["--levels", "source"])):
            box = ["--box", f"{x},64,64,64", "--tile", "16"]
            call("convert", "set.tif", "auto.tif", "--force", *box)
            call("convert", "set.tif", "same.tif", "--force", *box, *options)
            self.assertEqual(snapshot()["auto.tif"], snapshot()["same.tif"], x)
        write_tiff("thin.tif", 3000, 2, "B", [200] * 6000)
        call("render", "thin.tif", "thin.png", "--size", "9")
        self.assertEqual(decode_png("thin.png"), (1500, 1, 1, [200] * 1500))
        # Values are where the box says at the ends of 64 bits, too: nowhere.
        for corner in "9223372036854775806,0,1,1", "-9223372036854775808,0,1,1":
            self.assertEqual(read("grey.tif", 0, corner)[0], [0])

    def test_closed_streams_take_no_place_in_the_output(self):
        write_tiff("real.tif", 13, 11, "I", [2 ** 31] * 143)  # with a warning, for standard error
        subprocess.run(f"{QUIVO} convert real.tif o.tif <&- >&- 2>&-", shell=True, check=True)
        self.assertEqual(call("info", "o.tif").returncode, 0)

    def test_values_and_picture_of_a_known_file(self):
        part = [GREY[y * 13 + x] if 0 <= x < 13 and y >= 0 else 0
                for y in range(-2, 3) for x in range(9, 17)]
        self.assertEqual(read("grey.tif"), (GREY, (1, 11, 13)))
        self.assertEqual(read("grey.tif", 0, "9,-2,8,5"), (part, (1, 5, 8)))
        call("render", "grey.tif", "grey.png", "--level", "0", "--range", "0,65535")
        self.assertEqual(decode_png("grey.png"), (13, 11, 1, [int(v / 257 + 0.5) for v in GREY]))

    def test_pieces_equal_the_whole(self):
        for level in 0, 2, 8:
            whole, (_, height, width) = read(SET, level)
            for x, y, w, h in (-99, -7, 413, 19), (251, 99, 300, 99), (width - 3, height - 2, 9, 9):
                part = [whole[(c * height + j) * width + i] if 0 <= i < width and 0 <= j < height
                        else 0 for c in range(3) for j in range(y, y + h) for i in range(x, x + w)]
                self.assertEqual(read(SET, level, f"{x},{y},{w},{h}"), (part, (3, h, w)))

    def test_render_shows_what_read_gives(self):
        call("render", SET, "set.png", "--level", "1", "--box", "-20,-5,300,280")
        values, (n, height, width) = read(SET, 1, "-20,-5,300,280")
        size = width * height
        pixels = [int(values[c * size + i] + 0.5) for i in range(size) for c in range(n)]
        self.assertEqual(decode_png("set.png"), (300, 280, 3, pixels))

    def test_render_has_the_size_asked_for(self):
        for size, box in ((1, None), (3, None), (349, None), (350, None), (351, None), (699, None),
                          (700, None), (999, None), (97, "-20,-5,301,270"), (301, "0,9,301,270")):
            w, h = (301, 270) if box else (700, 500)
            while size > 1 and max(w, h) // 2 >= size: w, h = w // 2, h // 2
            expected = (size, int(h * (size + 0.5) / w)) if size < w else (w, h)
            call("render", SET, "o.png", "--force", "--size", str(size), *(["--box", box] if box else []))
            self.assertEqual(decode_png("o.png")[:2], expected, (size, box))

    def test_box_slice_and_scale(self):
        part = [GREY[::-1][y * 13 + x] for y in range(1, 11) for x in range(3, 13)]
        call("convert", "stack.tif", "o.tif", "--box", "3,1,99,99", "--slice", "1", "--quiet")
        self.assertEqual(read("o.tif"), (part, (1, 10, 10)))
        half = [sum(part[i + j] for j in (0, 1, 10, 11)) / 4
                for row in range(0, 100, 20) for i in range(row, row + 10, 2)]
        args = "--box", "3,1,10,10", "--slice", "1", "--scale", "0.5"
        call("convert", "stack.tif", "o.tif", *args, "--quiet", "--force", "--type", "f64")
        self.assertEqual(read("o.tif"), (half, (1, 5, 5)))
        call("render", "stack.tif", "o.png", "--range", "0,65535", *args)
        self.assertEqual(decode_png("o.png"), (5, 5, 1, [int(v / 257 + 0.5) for v in half]))
        call("convert", "stack.tif", "o.tif", "--level", "1", "--box", "-1,2,4,9", "--force")
        self.assertEqual(read("o.tif")[0], read("stack.tif", 1, "0,2,3,3")[0])
        self.assertEqual(read("o.tif", 0, None, "--slice", "1")[0],
                         read("stack.tif", 1, "0,2,3,3", "--slice", "1")[0])

    def test_scaling_in_pieces(self):
        steps = [[x + 3 * y for x in range(34)] for y in range(18)]
        rows = (b"".join(bytes([v]) * 128 for v in row) * 128 for row in steps)
        write_tiff("steps.tif", 34 * 128, 18 * 128, "B", b"".join(rows))
        args = "convert steps.tif o.tif --scale 0.0078125 --tile 16 --force --cache-mb".split()
        for cache in "0", "256":
            call(*args, cache)
            self.assertEqual(read("o.tif"), (sum(steps, []), (1, 18, 34)))

    def test_merged_channels_keep_values_and_names(self):
        write_tiff("b=c.tif", 13, 11, "H", GREY[::-1])
        names = ["a <&> \"&b\"", "\u03bcm"]
        call("merge", "o.tif", names[0] + "=grey.tif", names[1] + "=b=c.tif")
        call("convert", "o.tif", "again.tif")
        for path in "o.tif", "again.tif":
            info = json.loads(call("info", path, "--json").stdout)
            self.assertEqual((info["channelNames"], info["valueRange"]), (names, [0, 65535]))
            self.assertEqual(read(path), (GREY + GREY[::-1], (2, 11, 13)))
        for old, new, part, name in ((b"&amp;b", b"&#181;", "&b", "\u00b5"), (b"&lt;", b"&#9;", "<", "\t"),
                                     (b"&amp;b", b"&#xE9;", "&b", "\u00e9")):
            Path("char.tif").write_bytes(Path("o.tif").read_bytes().replace(old, new))
            info = json.loads(call("info", "char.tif", "--json").stdout)
            self.assertEqual(info["channelNames"],
                             [names[0].replace(part, name), names[1]])
        for old, new in ((b"&lt;", b"&#8;"), (b"&lt;", b"&lx;"), (b"</GDAL", b"</GD\0L"), (b"\">a", b"\"<a")):
            Path("bad.tif").write_bytes(Path("o.tif").read_bytes().replace(old, new))
            info = json.loads(call("info", "bad.tif", "--json").stdout)
            self.assertEqual(info["channelNames"], ["", ""])

    def test_convert_keeps_values_and_takes_levels_as_told(self):
        v, (_, h, w) = read(SET)
        means = [int((v[i] + v[i + 1] + v[i + w] + v[i + w + 1]) / 4 + 0.5)
                 for row in range(0, 3 * h, 2) for i in range(row * w, (row + 1) * w, 2)]
        for options, count, level1 in ((["--all-levels"], 9, means),
                                       (["--levels", "source"], 3, read(SET, 1)[0])):
            result = call("convert", SET, "set.tif", "--force", *options)
            self.assertEqual((result.stderr, result.stdout.count(b"\n")), (b"", 1))
            levels = json.loads(call("info", "set.tif", "--json").stdout)["levels"]
            self.assertEqual(sum(level["stored"] for level in levels), count)
            self.assertEqual((read("set.tif")[0], read("set.tif", 1)[0]), (v, level1))
        write_tiff("wide.tif", 2, 1, "I", [1, 4294967295])
        for options, warning in (([], ""),
                                 (["--type", "f32"], r"quivo: warning: [^\n]*u32[^\n]*\n")):
            result = call("convert", "wide.tif", "float.tif", "--quiet", "--force", *options)
            self.assertEqual((result.returncode, result.stdout), (0, b""))
            self.assertRegex(result.stderr.decode(), rf"\A{warning}\Z")
            self.assertEqual(read("float.tif")[0][0], 1)
            self.assertEqual(read("float.tif")[0][1] == 4294967295, not options)

    def test_info_and_progress_for_people(self):
        text = call("info", SET).stdout.decode()
        for line in ("extent +700 x 500 x 1", r"channels +3 \(Red, Green, Blue\)",
                     "value range +0 to 255", "8 +2 x 1 x 1 +unknown +unknown", "All .* computed"):
            self.assertRegex(text, "(?m)^ +" + line)
        terminal, end = pty.openpty()
        process = subprocess.Popen([QUIVO, *"convert mandelbrot:4000x4000 o.tif".split()],
                                   stdout=subprocess.DEVNULL, stderr=end)
        os.close(end)
        drawn = b""
        try:
            while part := os.read(terminal, 4096): drawn += part
        except OSError: pass  # nobody holds the other end any more
        os.close(terminal)
        self.assertEqual(process.wait(), 0)
        self.assertRegex(drawn, rb"\r\[#*\.*\] \d+ %  [\d.]+ Mpixel/s  \d+:\d\d left\x1b\[K")
        self.assertTrue(drawn.endswith(b"\r\x1b[K"), "the line is gone at the end")

    def test_interrupt_ends_the_work_and_leaves_nothing(self):
        before = snapshot()
        for args, number in (("convert {} o.tif", signal.SIGINT),
                             ("read {} --output o.f64", signal.SIGHUP),
                             ("render {} o.png --level 0", signal.SIGTERM),
                             ("merge o.tif a={}#c=0", signal.SIGINT)):
            args = args.format("mandelbrot:6000x6000").split()
            process = subprocess.Popen([QUIVO, *args], stderr=subprocess.PIPE)
            while len(os.listdir()) == len(before) and process.poll() is None: time.sleep(0.02)
            process.send_signal(number)
            message = process.communicate(timeout=60)[1]
            self.assertEqual((process.returncode, message.count(b"\n")), (128 + number, 1))
            self.assertEqual(snapshot(), before)

    def test_a_killed_convert_leaves_one_file_and_that_until_the_next(self):
        call("convert", "grey.tif", "o.tif")
        before = snapshot()
        process = subprocess.Popen([QUIVO, *"convert mandelbrot:9000x9000 o.tif --force".split()],
                                   stderr=subprocess.DEVNULL)
        while len(os.listdir()) == len(before) and process.poll() is None: time.sleep(0.02)
        temporary, = set(os.listdir()) - set(before)
        call("convert", "grey.tif", "o.tif", "--force")
        self.assertIn(temporary, os.listdir(), "somebody writes it")
        process.kill()
        process.wait()
        left = snapshot()
        left.pop(temporary)
        self.assertEqual(left, before, "the target and nothing else")
        Path("o.tif.quivo-tmp-notes").touch()
        call("convert", "grey.tif", "o.tif", "--force")
        self.assertEqual(set(os.listdir()), {*before, "o.tif.quivo-tmp-notes"})

    @unittest.skipIf("QUIVO_COVERAGE" in os.environ, "its counters are files that are read, too")
    def test_convert_reads_the_source_once(self):
        write_tiff("strips.tif", 1200, 800, "H", [i % 65521 for i in range(960000)])
        call("convert", "mandelbrot:1300x900", "tiles.tif", "--compression", "none", "--tile", "80")
        for source, size in ("strips.tif", 2 * 960000), ("tiles.tif", 3 * 1360 * 960):
            process = subprocess.Popen([QUIVO, *f"convert {source} o.tif --force --quiet --levels "
                                                "previous".split()])
            os.waitid(os.P_PID, process.pid, os.WEXITED | os.WNOWAIT)
            counts = dict(line.split(": ") for line in
                          Path(f"/proc/{process.pid}/io").read_text().splitlines())
            process.wait()
            # Its whole tiles, a third of that for the levels made on the way, and the program.
            self.assertLess(int(counts["rchar"]), 1.34 * size + 300000, source)

if __name__ == "__main__":
    unittest.main()
