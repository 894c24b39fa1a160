"""Checks what a shared QuivoCore exports: the classes of the interface and nothing internal."""
import subprocess
import sys

POLYMORPHIC = """ArbitraryDownsampleFilter; BufferImage<double>; BufferImage<unsigned char>;
CachedImage; CancellationChecker; ChannelBank; Filter; GenericImagePyramid;
GenericTileLoader<double>; GenericTileLoader<unsigned char>; GenericTileLoader<unsigned int>;
GenericTileLoader<unsigned short>; Image; ImagePyramid<double>; ImagePyramid<unsigned char>;
ImageWriter; ImageWriter::DownsampleOrProxy; InvariableImage; ProgressMonitor; ScaleFilter;
SliceFilter; SubImageFilter; TileImage; TileImage::TileImageGenericTileLoaderDouble"""
OTHERS = """Buffer<double>::Buffer; Buffer<long long>::Buffer; DisplayView::get; Lock::Lock;
LockGuard::LockGuard; SharedLockGuard::SharedLockGuard; Vector::toString[abi:cxx11]; check;
computeAreaInMM2; computeNumPyramidLevels; convertFromUtf8ToUtf16; convertHSVToRGB;
convertRGBToHSV; convertToLevel; downsampleBuffer; downsampleBufferIntermediateLevel;
fstream_open_utf8; getDownsamplingSrcRegionFromDstRegion; getFilesInDir; getResolutionLevel;
getThumbnailLevel; isNetworkPath; pow2; scalePosition; scaleRegion; str[abi:cxx11]; urlEncode"""
INTERNAL = ["PositionIterator", "downsampleBufferFullLevel", "copyImageBuffer", "strTempl",
            "Quivo::detail::"]

nm, library = sys.argv[1:]
listing = subprocess.run([nm, "-DC", "--defined-only", library], check=True, text=True,
                         stdout=subprocess.PIPE).stdout
symbols = [line.split(" ", 2)[1:] for line in listing.splitlines()]
expected = [f"vtable for Quivo::{name.strip()}" for name in POLYMORPHIC.split(";")]
expected += ["typeinfo for Quivo::CancellationException"]  # what handlers compare
expected += [f"Quivo::{name.strip()}(" for name in OTHERS.split(";")]

errors = [f"missing: {name}" for name in expected
          if not any(symbol.partition("(")[0] == name.rstrip("(") for _, symbol in symbols)]
errors += [f"internal: {symbol}" for _, symbol in symbols if any(word in symbol for word in INTERNAL)]
# Weak and unique symbols may be inline parts of the standard library; all else is ours by name.
errors += [f"foreign: {symbol}" for kind, symbol in symbols
           if kind not in "uVWw" and "Quivo::" not in symbol]
if errors:
    sys.exit("\n".join(errors))
