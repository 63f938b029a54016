#!/usr/bin/env python3
"""Draws the status icon: draw-status-icon.py >Helper/Resources/statusIcon.pam

A disk with an arrow in and an arrow out, in sizes for panels of all kinds, as portable arbitrary
maps one after the other. Blue with a white rim stands out on light and on dark panels.
"""
import sys

SIZES = (16, 22, 24, 32, 48)
SAMPLES = 8  # a side of the grid in each pixel
BLUE, WHITE, CLEAR = (33, 111, 219, 255), (255, 255, 255, 255), (0, 0, 0, 0)


def in_rounded(x, y, left, top, right, bottom, radius):
    dx = max(left + radius - x, 0, x - (right - radius))
    dy = max(top + radius - y, 0, y - (bottom - radius))
    return left <= x <= right and top <= y <= bottom and dx * dx + dy * dy <= radius * radius


def in_arrow(x, y, middle, tip, tail):
    """A vertical arrow with its tip at height `tip`."""
    along = abs(y - tip)
    length = abs(tail - tip)
    inside = min(tip, tail) <= y <= max(tip, tail)
    head = along <= 0.24 and abs(x - middle) <= along * 0.68
    shaft = along <= length and along >= 0.2 and abs(x - middle) <= 0.055
    return inside and (head or shaft)


def colour(x, y):
    if not in_rounded(x, y, 0.02, 0.06, 0.98, 0.94, 0.2):
        return CLEAR
    if not in_rounded(x, y, 0.085, 0.125, 0.915, 0.875, 0.15):
        return WHITE
    if in_arrow(x, y, 0.33, 0.21, 0.79) or in_arrow(x, y, 0.67, 0.79, 0.21):
        return WHITE
    return BLUE


def pixel(column, row, size):
    samples = [
        colour((column + (i + 0.5) / SAMPLES) / size, (row + (j + 0.5) / SAMPLES) / size)
        for i in range(SAMPLES)
        for j in range(SAMPLES)
    ]
    alpha = sum(sample[3] for sample in samples)
    if alpha == 0:
        return bytes(4)
    mean = [sum(sample[i] * sample[3] for sample in samples) // alpha for i in range(3)]
    return bytes(mean + [alpha // len(samples)])


for size in SIZES:
    header = f"P7\nWIDTH {size}\nHEIGHT {size}\nDEPTH 4\nMAXVAL 255\nTUPLTYPE RGB_ALPHA\nENDHDR\n"
    sys.stdout.buffer.write(header.encode())
    for row in range(size):
        for column in range(size):
            sys.stdout.buffer.write(pixel(column, row, size))
