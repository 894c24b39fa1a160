"""What the tests of the tool share: calls of it, small files, and the values of its results.

The first argument of a test is the path of the tool."""
import array, ast, os, re, struct, subprocess, sys, tempfile, unittest, zlib
from pathlib import Path

QUIVO = os.path.abspath(sys.argv.pop(1))
SET = "mandelbrot:700x500"
GREY = [(x * 7919 + y * 104729) % 65536 for y in range(11) for x in range(13)]

def call(*args):
    return subprocess.run([QUIVO, *args], capture_output=True, timeout=120)

def read(image, level=0, box=None, *more):
    """The values of a region and its extent: channels, height, width."""
    result = call("read", image, "--level", str(level), *(["--box", box] if box else []),
                  *more)
    line = re.fullmatch(r"float64, shape \(channels, z, y, x\) = \((\d+), 1, (\d+), (\d+)\)\n",
                        result.stderr.decode())
    channels, height, width = map(int, line.groups())
    return list(array.array("d", result.stdout)), (channels, height, width)

def decode_png(path):
    """Width, height, channels and the interleaved samples of a PNG without palette."""
    data, at, packed = Path(path).read_bytes(), 33, b""
    width, height, colour = struct.unpack_from(">IIxB", data, 16)
    while at < len(data):
        length, kind = struct.unpack_from(">I4s", data, at)
        packed += data[at + 8:at + 8 + length] if kind == b"IDAT" else b""
        at += length + 12
    n = {0: 1, 2: 3, 6: 4}[colour]
    raw, size, samples = zlib.decompress(packed), width * n, []
    above = [0] * size
    for start in range(0, height * (size + 1), size + 1):
        line = []
        for i in range(size):
            a, b, c = (line[i - n], above[i], above[i - n]) if i >= n else (0, above[i], 0)
            nearest = min((abs(b - c), 0, a), (abs(a - c), 1, b), (abs(a + b - 2 * c), 2, c))[2]
            line.append(raw[start + 1 + i] + (0, a, b, (a + b) // 2, nearest)[raw[start]] & 255)
        samples, above = samples + line, line
    return width, height, n, samples

def write_tiff(path, width, height, code, *slices, no_data=""):
    """A file of 400 pixels per mm, one strip per slice; `code` is that of the array module."""
    data = struct.pack("<2sHI", b"II", 42, 8)
    for i, values in enumerate(slices):
        pixels, at = array.array(code, values), len(data) + 14 * 12 + 6
        tags = ((256, width), (257, height), (258, 8 * pixels.itemsize), (259, 1), (262, 1),
                (273, at), (277, 1), (278, height), (279, pixels.itemsize * len(pixels)),
                (282, 4000), (283, 4000), (296, 3),
                (339, 3 if code in "fd" else 2 if code in "bhiq" else 1))
        entries = b"".join(struct.pack("<HHII", tag, 4, 1, value) for tag, value in tags)
        entries += struct.pack("<HHI4s", 42113, 2, len(no_data) + 1, no_data.encode())
        following = at + tags[8][1] if i + 1 < len(slices) else 0
        data += struct.pack("<H", 14) + entries + struct.pack("<I", following) + pixels.tobytes()
    Path(path).write_bytes(data)

def read_npy(data):
    """The type, the shape and the values of a NumPy file."""
    size, = struct.unpack_from("<H", data, 8)
    header = ast.literal_eval(data[10:10 + size].decode())
    assert data[:8] == b"\x93NUMPY\1\0" and (size + 10) % 64 == 0, data[:80]
    assert not header["fortran_order"]
    code = {"|u1": "B", "|i1": "b", "<u2": "H", "<i2": "h", "<f4": "f", "<f8": "d"}[header["descr"]]
    return header["descr"], header["shape"], list(array.array(code, data[10 + size:]))

def snapshot():
    return {path.name: path.read_bytes() for path in Path().iterdir()}

class ToolTest(unittest.TestCase):
    """Each test in an empty folder of its own with two small files."""
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        os.chdir(folder.name)
        write_tiff("grey.tif", 13, 11, "H", GREY)
        write_tiff("stack.tif", 13, 11, "H", GREY, GREY[::-1])
