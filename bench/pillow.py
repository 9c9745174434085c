"""Pillow as its best users call it. Takes part in the benchmark as the programs of Worker.h do; `pillow.py job NAME
IN OUT` is the program that does a whole command."""
import io
import os
import sys
import time

import PIL
from PIL import Image, ImageChops, ImageFilter, ImageOps

Image.MAX_IMAGE_PIXELS = None
SEPIA = (0.393, 0.769, 0.189, 0, 0.349, 0.686, 0.168, 0, 0.272, 0.534, 0.131, 0)
BLUR = ImageFilter.Kernel((3, 3), (1, 2, 1, 2, 4, 2, 1, 2, 1))
SHARPEN = ImageFilter.Kernel((3, 3), (0, -1, 0, -1, 5, -1, 0, -1, 0))
SAME = list(range(256))


def table(factor):
    return [min(255, int(i * factor + 5)) for i in range(256)]


TONES = table(1.1) + table(1.2) + table(0.9)


def through(picture, mode, tables):
    return picture.convert(mode).point(tables).convert("RGB")


def hue_by_range(picture):
    hue, saturation, value = picture.convert("HSV").split()
    saturation = ImageChops.multiply(saturation, hue.point(table(0.5)))
    return Image.merge("HSV", (hue.point(table(1.1)), saturation, value)).convert("RGB")


def reduced(picture):
    height = max(1, round(picture.height * 1600 / picture.width))
    return picture.resize((1600, height), Image.BOX) if picture.width > 1600 else picture.copy()


def shadow(picture, alpha):
    canvas = Image.new("RGB", (picture.width + 12, picture.height + 12), (20, 20, 60))
    mask = Image.new("L", canvas.size)
    mask.paste(alpha.filter(ImageFilter.BoxBlur(2)).filter(ImageFilter.BoxBlur(2)), (12, 12))
    canvas.paste(picture, mask=alpha)
    mask.paste(255, (0, 0), alpha)
    return canvas, mask


def flatten(picture, alpha):
    ground = Image.new("RGB", picture.size, (90, 150, 210))
    ground.paste(picture, mask=alpha)
    return ground


def encoded(picture, form, **options):
    file = io.BytesIO()
    picture.save(file, form, **options)
    return file


def operations(folder):
    picture = Image.open(folder + "/picture.png").convert("RGB")
    alpha = Image.open(folder + "/cutout.png").getchannel("A")
    jpeg = encoded(picture, "JPEG", quality=92, subsampling=2)
    png = encoded(picture, "PNG", compress_level=6)
    half = Image.open(folder + "/half.png").convert("RGB")
    double = (2 * half.width, 2 * half.height)
    return {
        "line/invert": ("ImageChops.invert", lambda: ImageChops.invert(picture)),
        "line/sepia": ("convert with a matrix", lambda: picture.convert("RGB", SEPIA)),
        "line/grey": ("convert, there and back", lambda: picture.convert("L").convert("RGB")),
        "line/brightness and contrast": ("point", lambda: picture.point(table(1.2) * 3)),
        "line/curves": ("point", lambda: picture.point(TONES)),
        "line/exposure and saturation":
            ("convert HSV, point", lambda: through(picture, "HSV", SAME + table(1.2) + table(1.1))),
        "line/hue and saturation by range": ("convert HSV, point, multiply", lambda: hue_by_range(picture)),
        "line/luminance curve":
            ("convert YCbCr, point", lambda: through(picture, "YCbCr", table(1.1) + SAME + SAME)),
        "line/auto levels": ("ImageOps.autocontrast", lambda: ImageOps.autocontrast(picture, 0.5)),
        "line/blur 3x3": ("filter, Kernel", lambda: picture.filter(BLUR)),
        "line/sharpen 3x3": ("filter, Kernel", lambda: picture.filter(SHARPEN)),
        "line/dust": ("MedianFilter (another rule)", lambda: picture.filter(ImageFilter.MedianFilter(3))),
        "line/reduce to 1600": ("resize, BOX", lambda: reduced(picture)),
        "line/enlarge 6 MP 2 x": ("resize, BICUBIC", lambda: half.resize(double, Image.BICUBIC)),
        "line/rotate 7 degrees": ("rotate, BILINEAR", lambda: picture.rotate(7, Image.BILINEAR, expand=True)),
        "line/quarter turn": ("transpose", lambda: picture.transpose(Image.ROTATE_90)),
        "line/shadow, ten rounds": ("BoxBlur, paste", lambda: shadow(picture, alpha)),
        "line/flatten": ("paste", lambda: flatten(picture, alpha)),
        "codec/encode jpeg": ("save", lambda: encoded(picture, "JPEG", quality=92, subsampling=2)),
        "codec/encode png": ("save", lambda: encoded(picture, "PNG", compress_level=6)),
        "codec/decode jpeg": ("open, load", lambda: Image.open(jpeg).load()),
        "codec/decode png": ("open, load", lambda: Image.open(png).load()),
    }


def run_job(name, source, target):
    picture = Image.open(source)
    if name == "reduce":
        picture.draft("RGB", (1600, 1600 * picture.height // picture.width))
        picture = reduced(picture.convert("RGB", SEPIA)).filter(SHARPEN)
    elif name == "rotate":
        picture = picture.rotate(7, Image.BILINEAR, expand=True)
    elif name == "tones":
        for i in range(10):
            picture = picture.convert("RGB", SEPIA) if i % 2 else picture.point(TONES)
    else:
        picture = ImageChops.invert(picture)
    picture.save(target, **({"quality": 92, "subsampling": 0} if target.endswith("jpg") else {}))


def measure(clock, work):
    start = clock()
    work()
    return clock() - start


def main(words):
    if words[0] == "job":
        return run_job(*words[1:])
    folder, threads = words[0], int(words[1])
    if "fresh" not in words:
        Image.core.set_blocks_max(256)  # its own heap keeps its pages, too
    known = operations(folder)
    print("Pillow " + PIL.__version__)
    for row, (call, _) in known.items():
        print(row + "\t" + call)
    print(flush=True)
    clock = time.perf_counter if threads > 1 else time.process_time
    for line in sys.stdin:
        print(measure(clock, known[line.strip()][1]), flush=True)


if __name__ == "__main__":
    main(sys.argv[1:])
