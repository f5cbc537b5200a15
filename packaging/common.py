"""What the packaging programs share: identities, hashes, times and the version of a program."""

import hashlib
import struct
import uuid

PRODUCT = "HotKeyServiceTLY"
# The same for every version for ever: Windows finds the installed version by it.
UPGRADE_CODE = "6B1F8B9C-6C59-4C7E-9C0D-0C3B5D3E8A11"


def digest(path, algorithm="sha256"):
    return hashlib.new(algorithm, path.read_bytes()).hexdigest()


def derived_uuid(*parts):
    """An identity that depends on the parts alone, so that two packagings of the same bytes agree on it."""
    return str(uuid.uuid5(uuid.UUID(UPGRADE_CODE), "\n".join(parts))).upper()


def files_of(stage):
    """The shipped files below the staging folder, in one order everywhere."""
    files = [path for path in stage.rglob("*") if path.is_file()]
    return sorted(files, key=lambda path: path.relative_to(stage).as_posix())


def content_id(stage):
    """One text that changes with any shipped name or byte."""
    return "\n".join(f"{digest(path)} {path.relative_to(stage).as_posix()}" for path in files_of(stage))


def file_version(path):
    """The file version of a program's version resource as four numbers and points, or None without one."""
    data = path.read_bytes()
    at = data.find(struct.pack("<II", 0xFEEF04BD, 0x00010000))
    if at < 0:
        return None
    high, low = struct.unpack_from("<II", data, at + 8)
    return f"{high >> 16}.{high & 0xFFFF}.{low >> 16}.{low & 0xFFFF}"
