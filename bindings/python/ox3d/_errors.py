"""Statuses of the library, and the exception that they become."""

import enum


class Status(enum.IntEnum):
    """What a function of the library ends with; ``Ox3dError.code`` is one of these or the number itself."""

    OK = 0
    HANDLE = 0x80060000
    CAMERA = 0x80060001
    CAMERA_02 = 0x80060002
    STATE = 0x80060003
    PARAMETER = 0x80060004
    MEMORY = 0x80060005
    NO_DATA = 0x80060006
    CAMERA_07 = 0x80060007
    CAMERA_08 = 0x80060008
    CAMERA_09 = 0x80060009
    CAMERA_0A = 0x8006000A
    LOAD_LIBRARY = 0x8006000B
    ALGORITHM = 0x8006000C
    CAMERA_0E = 0x8006000E
    CAMERA_0F = 0x8006000F
    UNKNOWN = 0x800600FF


def _plain_name(code: int) -> str:
    try:
        return "OX3D_RGBD_E_" + Status(code).name
    except ValueError:
        return "0x%08X" % code


class Ox3dError(Exception):
    """A call that did not succeed.

    ``code`` is the library's status (compare with :class:`Status`), ``name`` its name in the headers
    (``"OX3D_RGBD_E_NO_DATA"``); the text of the exception is the library's sentence for it, and what was asked for.
    """

    code: int
    name: str

    def __init__(self, code: int, name: str = "", sentence: str = "") -> None:
        self.code = code
        self.name = name or _plain_name(code)
        self.sentence = sentence
        super().__init__(code, self.name, sentence)

    def __str__(self) -> str:
        return self.sentence or self.name
