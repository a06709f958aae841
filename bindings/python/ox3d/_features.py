"""Features of a camera: what there are, and their values as Python has them."""

import ctypes
import difflib
import operator
from dataclasses import dataclass
from typing import List, Optional, Tuple, Union

from . import _structs as s
from ._device import Device
from ._errors import Ox3dError

#: A value of a feature: enumerations have the name of their entry.
Value = Union[bool, int, float, str]

_TYPES = {
    s.PARAM_BOOL: "bool",
    s.PARAM_INT: "int",
    s.PARAM_FLOAT: "float",
    s.PARAM_ENUM: "enum",
    s.PARAM_STRING: "str",
    s.FEATURE_COMMAND: "command",
    s.FEATURE_REGISTER: "register",
}
_ACCESS = ("", "", "w", "r", "rw")
_VISIBILITY = ("beginner", "expert", "guru", "invisible")


@dataclass(frozen=True)
class Feature:
    """One feature, as it was when it was asked for."""

    #: For ``camera[name]``.
    name: str
    #: For people.
    display_name: str
    #: The categories above it, with "/" between; "Ox3d" is the library's own.
    category: str
    #: "bool", "int", "float", "enum", "str", "command" or "register".
    type: str
    #: "rw", "r", "w" or "", at that time.
    access: str
    #: "beginner", "expert", "guru" or "invisible".
    visibility: str
    #: Such as "us" or "px"; empty without one.
    unit: str
    tooltip: str
    description: str
    #: None where it cannot be read now, or has none.
    value: Optional[Value]
    #: The present range of numbers, in the feature's unit.
    min: Optional[float] = None
    max: Optional[float] = None
    #: Of integers: values are ``min`` and whole numbers of this above.
    increment: Optional[int] = None
    #: Of an enumeration: the names of all entries.
    entries: Tuple[str, ...] = ()


def _text(value: bytes) -> str:
    return value.decode("utf-8", "replace")


def _entries(device: Device, name: bytes) -> List[s.FEATURE_ENTRY]:
    count = ctypes.c_uint32()
    device.call("GetFeatureEntries", name, None, 0, ctypes.byref(count))
    entries = (s.FEATURE_ENTRY * count.value)()
    capacity = count.value
    if capacity:
        device.call("GetFeatureEntries", name, entries, capacity, ctypes.byref(count))
    return list(entries[: min(capacity, count.value)])


def _enum_value(record: s.FEATURE, entries: List[s.FEATURE_ENTRY]) -> Value:
    number: int = record.stValue.stEnumParam.nCurValue
    for entry in entries:
        if entry.nValue == number:
            return _text(entry.chName)
    return number


def _feature(device: Device, record: s.FEATURE) -> Feature:
    low: Optional[float] = None
    high: Optional[float] = None
    increment: Optional[int] = None
    value: Optional[Value] = None
    entries: List[s.FEATURE_ENTRY] = []
    present = record.stValue
    if record.nType == s.PARAM_ENUM:
        entries = _entries(device, record.chName)
    if record.nHasValue:
        if record.nType == s.PARAM_BOOL:
            value = present.bBoolValue != 0
        elif record.nType == s.PARAM_INT:
            number = present.stIntParam
            value, low, high, increment = number.nCurValue, number.nMin, number.nMax, number.nInc
        elif record.nType == s.PARAM_FLOAT:
            real = present.stFloatParam
            value, low, high = real.fCurValue, real.fMin, real.fMax
        elif record.nType == s.PARAM_ENUM:
            value = _enum_value(record, entries)
        elif record.nType == s.PARAM_STRING:
            value = _text(present.stStringParam.chCurValue)
    return Feature(
        _text(record.chName),
        _text(record.chDisplayName),
        _text(record.chCategory),
        _TYPES.get(record.nType, str(record.nType)),
        _ACCESS[record.nAccess] if record.nAccess < len(_ACCESS) else "",
        _VISIBILITY[record.nVisibility] if record.nVisibility < len(_VISIBILITY) else "",
        _text(record.chUnit),
        _text(record.chToolTip),
        _text(record.chDescription),
        value,
        low,
        high,
        increment,
        tuple(_text(entry.chName) for entry in entries),
    )


def _records(device: Device) -> List[s.FEATURE]:
    count = ctypes.c_uint32()
    device.call("GetFeatures", None, None, 0, ctypes.byref(count), about="the features")
    capacity = count.value
    records = (s.FEATURE * capacity)()
    device.call("GetFeatures", None, records, capacity, ctypes.byref(count), about="the features")
    return list(records[: min(capacity, count.value)])


def all_features(device: Device) -> List[Feature]:
    return [_feature(device, record) for record in _records(device)]


def _name(name: str) -> bytes:
    if not isinstance(name, str):
        raise TypeError(f"a feature has a name, such as 'ExposureTime', and not {name!r}")
    if "\0" in name:
        raise ValueError("a name has no NUL in it")
    return name.encode()


def find(device: Device, name: str) -> Optional[s.FEATURE]:
    record = s.FEATURE()
    count = ctypes.c_uint32()
    code = device.status("GetFeatures", _name(name), ctypes.byref(record), 1, ctypes.byref(count))
    if code == s.E_PARAMETER:
        return None
    if code != 0:
        raise device.library.error(code, name)
    return record


def _found(device: Device, name: str) -> s.FEATURE:
    record = find(device, name)
    if record is None:
        like = difflib.get_close_matches(name, [_text(each.chName) for each in _records(device)], 1)
        meant = f"; did you mean {like[0]!r}?" if like else ""
        raise Ox3dError(s.E_PARAMETER, sentence=f"the camera has no feature {name!r}{meant}")
    return record


def feature(device: Device, name: str) -> Feature:
    return _feature(device, _found(device, name))


def get(device: Device, name: str) -> Value:
    found = feature(device, name)
    if found.value is None:
        why = f"is a {found.type}" if found.type in ("command", "register") else "cannot be read now"
        raise Ox3dError(s.E_PARAMETER, sentence=f"{name!r} has no value to read: it {why}")
    return found.value


def _whole(name: str, value: object, about: str = "a whole number") -> int:
    try:
        number = operator.index(value)  # type: ignore[arg-type] # also numpy's integers
    except TypeError:
        raise TypeError(f"{name!r} takes {about}, not {value!r}") from None
    if not -(2**63) <= number < 2**63:
        raise ValueError(f"{name!r} takes 64 bits, and {number} has more")
    return number


def put(device: Device, name: str, value: Value) -> None:
    record = _found(device, name)
    parameter = s.PARAM(enParamType=record.nType)
    if record.nType == s.PARAM_BOOL:
        parameter.bBoolValue = int(bool(_whole(name, value, "True or False")))
    elif record.nType == s.PARAM_INT:
        parameter.stIntParam.nCurValue = _whole(name, value)
    elif record.nType == s.PARAM_FLOAT:
        try:
            parameter.stFloatParam.fCurValue = float(value)
        except (TypeError, ValueError):
            raise TypeError(f"{name!r} takes a number, not {value!r}") from None
    elif record.nType == s.PARAM_ENUM:
        _put_enum(device, name, value)
        return
    elif record.nType == s.PARAM_STRING:
        text = str(value).encode()
        if b"\0" in text or len(text) >= s.MAX_STRING:
            raise ValueError(f"{name!r} takes a text of less than {s.MAX_STRING} bytes without NUL")
        parameter.stStringParam.chCurValue = text
    else:
        raise Ox3dError(
            s.E_PARAMETER, sentence=f"{name!r} has no value to set: it is a {_TYPES.get(record.nType)}; run() executes it"
        )
    device.call("SetParam", _name(name), ctypes.byref(parameter), about=f"{name} = {value!r}{_range(record)}")


def _range(record: s.FEATURE) -> str:
    if record.nHasValue and record.nType == s.PARAM_INT:
        number = record.stValue.stIntParam
        return f" (of {number.nMin} to {number.nMax})"
    if record.nHasValue and record.nType == s.PARAM_FLOAT:
        real = record.stValue.stFloatParam
        return f" (of {real.fMin:g} to {real.fMax:g})"
    return ""


def _put_enum(device: Device, name: str, value: Value) -> None:
    names = {entry.nValue: _text(entry.chName) for entry in _entries(device, _name(name))}
    if isinstance(value, str):
        entry = value
    else:
        entry = names.get(_whole(name, value, "the name or number of an entry"), "")
    if entry not in names.values():
        raise Ox3dError(
            s.E_PARAMETER, sentence=f"{name!r} has no entry {value!r}; there are {', '.join(names.values())}"
        )
    device.call("SetEnumByName", _name(name), _name(entry), about=f"{name} = {value!r}")
