#!/usr/bin/env python3
# The NASTRAN bulk data that the tools read: GRID points and solid elements, in free, small and
# large fields, with continuation lines.
"""GRID points and CTETRA/CHEXA/CPENTA elements of a NASTRAN file, for the tools."""


def nastran_fields(line):
    """The fields of one NASTRAN line: free fields between commas, large fields of sixteen
    columns (a name ending in "*"), or small fields of eight columns."""
    text = line.rstrip("\r\n")
    if "," in text:
        fields = [f.strip() for f in text.split(",")]
        if len(fields) > 1 and fields[-1][:1] in "+*" and fields[-1][1:2].isalpha():
            fields.pop()  # the name of the continuation line
        return fields
    if text[:8].strip().endswith("*") or text.startswith("*"):
        return [text[:8].strip()] + [text[i : i + 16].strip() for i in range(8, min(len(text), 72), 16)]
    return [text[i : i + 8].strip() for i in range(0, min(len(text), 72), 8)]


def nastran_real(text):
    """A NASTRAN real, including the exponent without its letter ("1.5-3")."""
    t = text.strip().upper().replace("D", "E")
    if "E" not in t:
        for k in range(len(t) - 1, 0, -1):
            if t[k] in "+-":
                t = t[:k] + "E" + t[k:]
                break
    return float(t)


def nastran_cards(lines):
    """The cards of a NASTRAN file as lists of fields, continuation lines joined on."""
    cards = []
    for line in lines:
        if line.startswith("$") or not line.strip():
            continue
        if line[0] in "+*" and cards:  # a continuation line carries on the card
            cards[-1] += nastran_fields(line)[1:]
        else:
            cards.append(nastran_fields(line))
    return cards


def read_grid_points(lines):
    """GRID points of a NASTRAN file (an iterable of lines) by node number: (x, y, z)."""
    points = {}
    for c in nastran_cards(lines):
        if c[0].rstrip("*") == "GRID":
            points[int(c[1])] = tuple(nastran_real(c[k]) for k in (3, 4, 5))
    return points


def read_nastran_mesh(path):
    """GRID points by number, and the CTETRA/CHEXA/CPENTA elements by number: (property, nodes)."""
    with open(path) as f:
        cards = nastran_cards(f)
    points = {}
    elements = {}
    for c in cards:
        name = c[0].rstrip("*")
        if name == "GRID":
            points[int(c[1])] = tuple(nastran_real(c[k]) for k in (3, 4, 5))
        elif name in ("CTETRA", "CHEXA", "CPENTA"):
            elements[int(c[1])] = (int(c[2]), [int(v) for v in c[3:] if v])
    return points, elements
