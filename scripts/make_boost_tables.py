#!/usr/bin/env python3
"""Prints src/noise/chroma_boost_tables.cpp: the saturation gains of chroma boost levels 1 to 9.

Each level is a smooth curve of the distance j = |value - 128| from grey: no gain at grey, a rise to the peak, a
fall to no gain at strong colours, so that neither white balance nor saturated colours move. The curve is the
monotone cubic (Fritsch and Carlson) through a few measured points, which has no overshoot between them.

    scripts/make_boost_tables.py > src/noise/chroma_boost_tables.cpp
"""

UNITY = 128
NEUTRAL = 1    # |value - 128| up to which the gain is 1
BEYOND = 79    # |value - 128| from which the gain is 1

# level: gain at 64, gain at 96, gain at 112, largest gain, the lowest index that has it
LEVELS = {
    1: (139, 141, 141, 141, 68),
    2: (143, 154, 153, 154, 81),
    3: (145, 166, 165, 166, 82),
    4: (147, 179, 174, 179, 86),
    5: (147, 192, 181, 192, 91),
    6: (148, 205, 187, 205, 93),
    7: (149, 217, 192, 218, 97),
    8: (149, 229, 195, 230, 97),
    9: (149, 239, 199, 243, 99),
}
# Points within a rounding step of the measured ones: the peak's value is reached last at the peak's own index.
BELOW_PEAK = 0.45
PLATEAU = 0.3


def knots(at64, at96, at112, peak, index):
    points = {NEUTRAL: UNITY, 16: at112, 32: at96, 64: at64, BEYOND: UNITY}
    if at96 == peak:
        points[32] = peak + PLATEAU
    if at112 == peak:
        points[16] = peak + PLATEAU
    points[128 - index] = peak - BELOW_PEAK
    return sorted(points.items())


def slopes(points):
    """Fritsch-Carlson slopes: weighted harmonic means, 0 at extremes, one-sided at both ends."""
    steps = [b[0] - a[0] for a, b in zip(points, points[1:])]
    rises = [(b[1] - a[1]) / s for (a, b), s in zip(zip(points, points[1:]), steps)]
    result = [rises[0]]
    for i in range(1, len(rises)):
        before, after = rises[i - 1], rises[i]
        if before * after <= 0:
            result.append(0.0)
            continue
        w1, w2 = 2 * steps[i] + steps[i - 1], steps[i] + 2 * steps[i - 1]
        result.append((w1 + w2) / (w1 / before + w2 / after))
    return result + [rises[-1]]


def evaluate(points, tangents, j):
    if j <= NEUTRAL or j >= BEYOND:
        return UNITY
    i = max(k for k in range(len(points) - 1) if points[k][0] <= j)
    (x0, y0), (x1, y1) = points[i], points[i + 1]
    s = x1 - x0
    t = (j - x0) / s
    value = (y0 * (1 + 2 * t) * (1 - t) ** 2 + s * tangents[i] * t * (1 - t) ** 2
             + y1 * t * t * (3 - 2 * t) + s * tangents[i + 1] * t * t * (t - 1))
    return int(value + 0.5)


def table(level):
    points = knots(*LEVELS[level])
    tangents = slopes(points)
    gains = [evaluate(points, tangents, j) for j in range(129)]
    # Rounded gains can bring a stronger colour out a step weaker than its neighbour: lift those.
    for j in range(NEUTRAL + 1, BEYOND):
        while any(boost(s * j, gains[j]) * s < boost(s * (j - 1), gains[j - 1]) * s for s in (1, -1)):
            gains[j] += 1
    return [gains[abs(v - 128)] for v in range(256)]


def boost(difference, gain):
    return (difference * gain + 64) >> 7


def main():
    print('#include "noise/chroma_boost_tables.h"')
    print("\nnamespace zolt {\n")
    print("// Made by scripts/make_boost_tables.py: change it there.")
    print("// clang-format off")
    print("const int16_t kChromaBoostTables[9][256] = {")
    for level in LEVELS:
        print(f"  {{  // level {level}")
        values = table(level)
        for row in range(0, 256, 16):
            print("    " + ", ".join(str(v) for v in values[row:row + 16]) + ",")
        print("  },")
    print("};")
    print("// clang-format on")
    print("\n}  // namespace zolt")


if __name__ == "__main__":
    main()
