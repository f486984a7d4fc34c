#!/usr/bin/env python3
"""Writes the small calibration files of 3 x 2 pixels that the tests compare with, byte for byte.

Run it in this directory: python3 make_calibration_files.py
"""
import struct

WIDTH, HEIGHT = 3, 2

# Flat-field table: pixel (x, y) holds 0x01020304 * (y + 1) + x, N is 0x1234, the temperature 25.5 degrees.
sums = [0x01020304 * (y + 1) + x for y in range(HEIGHT) for x in range(WIDTH)]
with open("calibration_3x2.ffc", "wb") as file:
    file.write(bytes.fromhex("4736203A5F20533B5C3A2B50345C7900"))
    file.write(struct.pack(f"<{len(sums)}I", *sums))
    file.write(struct.pack("<Hf", 0x1234, 25.5))

# Binary coefficients along the rows: coefficient k of pixel (x, y) is 100 * y + 10 * x + k + 0.5.
for name, count in (("gpffc", 3), ("opffc", 4)):
    with open(f"calibration_3x2.{name}", "wb") as file:
        for y in range(HEIGHT):
            for x in range(WIDTH):
                file.write(struct.pack(f"<{count}f", *(100 * y + 10 * x + k + 0.5 for k in range(count))))

# Text coefficients down the columns, the same values; the odd ones of every second pixel are negative.
LINES = {
    "first_order": "{0} {s} {1}*Tk\n",
    "quadratic": "{0} {s} {1}*Tk + {2}*Tk^2\n",
    "logarithmic_gain": "{0} {s} {1}*Tk + {2}*Log[Tk]\n",
    "logarithmic_offset": "{0}*^6 {s} {1}*Tk + {2}*^6*Log[Tk]\n",
}
for name, line in LINES.items():
    with open(f"calibration_3x2_{name}.txt", "w", newline="\n") as file:
        for x in range(WIDTH):
            for y in range(HEIGHT):
                values = [100 * y + 10 * x + k + 0.5 for k in range(3)]
                file.write(line.format(*values, s="-" if (x + y) % 2 else "+"))

# Defective pixels (2, 0), (0, 1) and (1, 1).
with open("calibration_3x2.dpc", "wb") as file:
    file.write(bytes([0, 0, 1, 1, 1, 0]))
