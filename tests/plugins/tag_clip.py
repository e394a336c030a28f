#!/usr/bin/env python3
# Usage: tag_clip.py FILE FRAMES - draws grey video of three AprilTags that move, by libapriltag's own bitmaps.
import ctypes
import math
import sys

WIDTH, HEIGHT = 640, 480


class Image(ctypes.Structure):
    _fields_ = [("width", ctypes.c_int32), ("height", ctypes.c_int32), ("stride", ctypes.c_int32),
                ("pixels", ctypes.POINTER(ctypes.c_uint8))]


library = ctypes.CDLL("libapriltag.so.3")
library.tag36h11_create.restype = ctypes.c_void_p
library.apriltag_to_image.restype = ctypes.POINTER(Image)
library.apriltag_to_image.argtypes = [ctypes.c_void_p, ctypes.c_uint32]
family = library.tag36h11_create()


def bitmap(tag):
    image = library.apriltag_to_image(family, tag).contents
    return [[image.pixels[y * image.stride + x] for x in range(image.width)] for y in range(image.height)]


def draw(pixels, bits, centre_x, centre_y, size, angle):
    # Eight of the bitmap's ten cells are the tag.
    across, down = math.cos(angle) * size / 8, math.sin(angle) * size / 8
    for y in range(max(0, int(centre_y) - size), min(HEIGHT, int(centre_y) + size)):
        for x in range(max(0, int(centre_x) - size), min(WIDTH, int(centre_x) + size)):
            dx, dy = x + 0.5 - centre_x, y + 0.5 - centre_y
            column = math.floor((dx * across + dy * down) * 64 / size**2 + 5)
            row = math.floor((dy * across - dx * down) * 64 / size**2 + 5)
            if 0 <= column < 10 and 0 <= row < 10:
                pixels[y * WIDTH + x] = 225 if bits[row][column] else 40


bitmaps = [bitmap(tag) for tag in (7, 42, 586)]
frames = int(sys.argv[2])
with open(sys.argv[1], "wb") as clip:
    clip.write(f"YUV4MPEG2 W{WIDTH} H{HEIGHT} F30:1 Ip A1:1 Cmono\n".encode())
    for frame in range(frames):
        pixels = bytearray([150 + x * 60 // WIDTH for x in range(WIDTH)] * HEIGHT)
        for k, bits in enumerate(bitmaps):
            turn = 2 * math.pi * frame / frames + 2 * k
            draw(pixels, bits, 120 + 200 * k + 20 * math.cos(turn), 240 + 80 * math.sin(turn), 110 - 20 * k,
                 0.4 * math.sin(turn + k))
        clip.write(b"FRAME\n" + pixels)
