#!/usr/bin/env python3
"""make_zip.py STAGE EPOCH OUT: the files of STAGE as a zip whose bytes depend only on them and on EPOCH."""

import pathlib
import sys
import time
import zipfile

import common


def main():
    stage, epoch, out = pathlib.Path(sys.argv[1]), int(sys.argv[2]), pathlib.Path(sys.argv[3])
    when = time.gmtime(epoch)[:6]
    with zipfile.ZipFile(out, "w", zipfile.ZIP_DEFLATED, compresslevel=9) as archive:
        for path in common.files_of(stage):
            entry = zipfile.ZipInfo(f"{out.stem}/{path.relative_to(stage).as_posix()}", when)
            entry.compress_type = zipfile.ZIP_DEFLATED
            entry.create_system = 0
            archive.writestr(entry, path.read_bytes())


if __name__ == "__main__":
    main()
