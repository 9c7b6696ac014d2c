"""Times Pillow at enlarging or shrinking a square image of four 8-bit channels.

usage: pillow_resize.py SIZE NEW_SIZE KERNEL    lanczos or linear; prints the median seconds
"""

import os
import statistics
import sys
import time

from PIL import Image

KERNELS = {"lanczos": Image.Resampling.LANCZOS, "linear": Image.Resampling.BILINEAR}


def main():
    size, new_size, kernel = int(sys.argv[1]), int(sys.argv[2]), KERNELS[sys.argv[3]]
    # Four channels without a meaning: none is opacity, which would be multiplied in.
    image = Image.frombytes("RGBX", (size, size), os.urandom(size * size * 4))
    seconds = []
    for _ in range(6):
        start = time.perf_counter()
        image.resize((new_size, new_size), kernel)
        seconds.append(time.perf_counter() - start)
    print(statistics.median(seconds[1:]))


main()
