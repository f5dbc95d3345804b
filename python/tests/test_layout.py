"""The package's record layouts are those of the C compiler, for every field of every record in the headers."""

from __future__ import annotations

import os
import re
import subprocess
from pathlib import Path
from typing import Dict, List, NamedTuple, Tuple

import numpy as np
import pytest

import children

import velmar
from velmar import _records

INCLUDE = Path(__file__).parents[2] / "include"
TEXT = "".join((INCLUDE / header).read_text() for header in ("TarvoSDKClient.h", "TarvoStream.h"))

DTYPES = {
    "sTriple": _records.TRIPLE, "sMarkerSetSample": _records.MARKER_SET_SAMPLE,
    "sRigidBodySample": _records.RIGID_BODY_SAMPLE, "sSkeletonSample": _records.SKELETON_SAMPLE,
    "sLabeledMarkerSample": _records.LABELED_MARKER_SAMPLE, "sFrameOfMocapData": _records.FRAME,
    "sForcePlateSample": _records.FORCE_PLATE_SAMPLE, "sForcePlates": _records.FORCE_PLATES,
    "sFrameTimes": _records.FRAME_TIMES, "sMarkerSetInfo": _records.MARKER_SET_INFO,
    "sRigidBodyInfo": _records.RIGID_BODY_INFO, "sSkeletonInfo": _records.SKELETON_INFO,
    "sForcePlateInfo": _records.FORCE_PLATE_INFO, "sPointGroupInfo": _records.POINT_GROUP_INFO,
    "sDescriptionEntry": _records.DESCRIPTION_ENTRY, "sDataDescriptions": _records.DATA_DESCRIPTIONS,
    "sFeedStatistics": _records.FEED_STATISTICS, "sStreamStatistics": _records.STREAM_STATISTICS,
}
# Records that the package handles without a layout of its own: 12 bytes of words, and bytes alone.
PLAIN = {"sPointItem": 12, "sServerDescription": _records.SERVER_DESCRIPTION_SIZE}
BOUNDS = {
    "TARVO_NAME_SIZE": _records.NAME_SIZE, "TARVO_MAX_MARKER_SETS": _records.MAX_MARKER_SETS,
    "TARVO_MAX_RIGID_BODIES": _records.MAX_RIGID_BODIES, "TARVO_MAX_SKELETONS": _records.MAX_SKELETONS,
    "TARVO_MAX_SKELETON_BODIES": _records.MAX_SKELETON_BODIES,
    "TARVO_MAX_LABELED_MARKERS": _records.MAX_LABELED_MARKERS,
    "TARVO_MAX_ANALOG_VALUES": _records.MAX_ANALOG_VALUES, "TARVO_MAX_DESCRIPTIONS": _records.MAX_DESCRIPTIONS,
    "TARVO_MAX_FORCE_PLATES": _records.MAX_FORCE_PLATES, "TARVO_MAX_FEED_FRAMES": _records.MAX_FEED_FRAMES,
    "TARVO_SERVER_DESCRIPTION_SIZE": _records.SERVER_DESCRIPTION_SIZE,
    "TARVO_INTERFACE_NAME_SIZE": _records.INTERFACE_NAME_SIZE,
}


class Field(NamedTuple):
    offset: int
    size: int


def records_of_the_headers() -> Dict[str, List[str]]:
    """Names of the fields of each record, in their order."""
    plain = re.sub(r"/\*.*?\*/|//[^\n]*|#ifdef __cplusplus.*?#endif", "", TEXT, flags=re.DOTALL)
    records = re.findall(r"typedef struct (\w+) \{(.*?)\} \1;", plain, re.DOTALL)
    return {name: re.findall(r"(\w+)(?:\[\w+\])*;", body) for name, body in records}


@pytest.fixture(scope="module")
def compiled(tmp_path_factory: pytest.TempPathFactory) -> Dict[Tuple[str, str], Field]:
    """What the compiler says of each (record, field); of a whole record under the field ""; of bounds under ""."""
    prints = [f'print("{bound}", "", 0, {bound});' for bound in BOUNDS]
    for record, fields in records_of_the_headers().items():
        prints.append(f'print("{record}", "", 0, sizeof({record}));')
        prints += [f'print("{record}", "{field}", offsetof({record}, {field}), sizeof((({record}*)0)->{field}));'
                   for field in fields]
    folder = tmp_path_factory.mktemp("layout")
    (folder / "layout.c").write_text(
        '#include <stddef.h>\n#include <stdio.h>\n#include "TarvoStream.h"\n'
        'static void print(const char* record, const char* field, size_t offset, size_t size) '
        '{ printf("%s,%s,%zu,%zu\\n", record, field, offset, size); }\n'
        "int main(void) {\n" + "\n".join(prints) + "\nreturn 0;\n}\n")
    program = str(folder / "layout")
    subprocess.run([os.environ.get("CC", "cc"), "-std=c11", "-Wall", "-Werror", "-I", str(INCLUDE), "-o", program,
                    str(folder / "layout.c")], check=True, env=children.plain_environment(), timeout=60)
    rows = subprocess.run([program], check=True, stdout=subprocess.PIPE, text=True).stdout.splitlines()
    return {(record, field): Field(int(offset), int(size))
            for record, field, offset, size in (row.split(",") for row in rows)}


def test_every_record_of_the_headers_is_known() -> None:
    assert set(records_of_the_headers()) == set(DTYPES) | set(PLAIN)


@pytest.mark.parametrize("record", DTYPES)
def test_fields_lie_where_the_compiler_puts_them(compiled: Dict[Tuple[str, str], Field], record: str) -> None:
    dtype = DTYPES[record]
    assert dtype.fields is not None
    ours = {field: Field(where[1], where[0].itemsize) for field, where in dtype.fields.items()}
    theirs = {field: where for (of, field), where in compiled.items() if of == record and field}
    assert ours == theirs
    assert dtype.itemsize == compiled[record, ""].size


def test_sizes_and_bounds_are_the_headers(compiled: Dict[Tuple[str, str], Field]) -> None:
    wanted = {**PLAIN, **BOUNDS}
    assert {name: compiled[name, ""].size for name in wanted} == wanted


def test_public_records_read_the_compilers_fields(compiled: Dict[Tuple[str, str], Field]) -> None:
    body = {"id": "id", "position": "position", "orientation": "orientation", "marker_count": "markerCount",
            "residual": "residual", "flags": "flags"}
    assert velmar.RIGID_BODY.fields is not None and set(velmar.RIGID_BODY.names or ()) == set(body)
    for ours, theirs in body.items():
        dtype, offset = velmar.RIGID_BODY.fields[ours][:2]
        assert Field(offset, dtype.itemsize) == compiled["sRigidBodySample", theirs], ours
    assert velmar.RIGID_BODY.itemsize == compiled["sRigidBodySample", ""].size
    # The six words of a marker: identifier, position, diameter, skeleton.
    assert velmar.LABELED_MARKER == np.dtype(
        [("id", "<i4"), ("position", "<f4", (3,)), ("size", "<f4"), ("skeleton_id", "<i4")])
