"""Records and numbers of the library's interface, under the names that its headers give them.

Sizes, positions and values are held against the headers by a test.
"""

from ctypes import (
    CFUNCTYPE,
    POINTER,
    Structure,
    Union,
    c_char,
    c_char_p,
    c_double,
    c_float,
    c_int64,
    c_uint8,
    c_uint32,
    c_uint64,
    c_void_p,
)
from typing import Any, Dict, Tuple

E_HANDLE = 0x80060000
E_CAMERA = 0x80060001
E_STATE = 0x80060003
E_PARAMETER = 0x80060004
E_MEMORY = 0x80060005
E_NO_DATA = 0x80060006
E_LOAD_LIBRARY = 0x8006000B

DEVICE_ETHERNET, DEVICE_USB, DEVICE_ALL = 1, 2, 3

PIXEL_DEPTH16 = 0x011000B8
PIXEL_RGB8_PLANAR = 0x02180021
PIXEL_RGBD = 0x82283007
PIXEL_MONO8 = 0x01080001

STREAM_LEFT, STREAM_RIGHT = 3, 4

PARAM_BOOL, PARAM_INT, PARAM_FLOAT, PARAM_ENUM, PARAM_STRING = 1, 2, 3, 4, 5
FEATURE_COMMAND, FEATURE_REGISTER = 6, 7

CALIB_DEPTH, CALIB_COLOR = 1, 2
CAMERA_DEPTH, CAMERA_COLOR = 0, 1

CLOUD_FLOAT32 = 0
CLOUD_ORGANISED, CLOUD_VALID = 0, 1
CLOUD_NO_COLOR, CLOUD_COLOR_BESIDE = 0, 1

EXCEPTION_OFFLINE, EXCEPTION_RETRYING, EXCEPTION_RECONNECTED = 1, 2, 3

CLOCK_NONE, CLOCK_ARRIVALS, CLOCK_LATCH = 0, 1, 2

REC_COLOR_JPEG, REC_COLOR_RAW, REC_COLOR_NONE = 0, 1, 2
REC_E_HANDLE, REC_E_PARAMETER, REC_E_FILE, REC_E_FOREIGN, REC_E_EXISTS = 1, 2, 3, 4, 5
REC_E_FULL, REC_E_NO_DATA, REC_E_DROPPED, REC_E_CAMERA, REC_E_MEMORY = 6, 7, 8, 9, 10

MAX_IMAGES = 10
MAX_ENUM_ENTRIES = 64
MAX_STRING = 256


class VERSION_INFO(Structure):
    _fields_ = [("nMajor", c_uint32), ("nMinor", c_uint32), ("nRevision", c_uint32)]


class _Ids(Structure):
    _fields_ = [("nVendorId", c_uint32), ("nProductId", c_uint32)]


class _Addresses(Union):
    _anonymous_ = ("ids",)
    _fields_ = [("chMacAddress", c_uint8 * 6), ("ids", _Ids)]


class _Modes(Union):
    _fields_ = [("nIpCfgMode", c_uint32), ("nUsbProtocol", c_uint32)]


class DEVICE_INFO(Structure):
    _anonymous_ = ("addresses", "modes")
    _fields_ = [
        ("chManufacturerName", c_char * 32),
        ("chModelName", c_char * 32),
        ("chDeviceVersion", c_char * 32),
        ("chManufacturerSpecificInfo", c_char * 48),
        ("chSerialNumber", c_char * 16),
        ("chUserDefinedName", c_char * 16),
        ("nDeviceType", c_uint32),
        ("addresses", _Addresses),
        ("modes", _Modes),
        ("chCurrentIp", c_char * 16),
        ("chCurrentSubNetMask", c_char * 16),
        ("chDefaultGateWay", c_char * 16),
        ("chNetExport", c_char * 16),
        ("nReserved", c_uint8 * 16),
    ]


class IMAGE_DATA(Structure):
    _fields_ = [
        ("enImageType", c_uint32),
        ("nReserved0", c_uint32),
        ("nWidth", c_uint32),
        ("nHeight", c_uint32),
        ("pData", c_void_p),
        ("nDataLen", c_uint32),
        ("nFrameNum", c_uint32),
        ("nTimeStamp", c_uint64),
        ("enStreamType", c_uint32),
        ("nReserved", c_uint8 * 12),
    ]


class FRAME_DATA(Structure):
    _fields_ = [
        ("nImageCount", c_uint32),
        ("nReserved0", c_uint32),
        ("stImageData", IMAGE_DATA * MAX_IMAGES),
        ("nReserved", c_uint8 * 16),
    ]


class INTPARAM(Structure):
    _fields_ = [("nCurValue", c_int64), ("nMax", c_int64), ("nMin", c_int64), ("nInc", c_int64)]


class FLOATPARAM(Structure):
    _fields_ = [
        ("fCurValue", c_float),
        ("fMax", c_float),
        ("fMin", c_float),
        ("nReserved", c_uint8 * 16),
    ]


class ENUMPARAM(Structure):
    _fields_ = [
        ("nCurValue", c_uint32),
        ("nSupportedNum", c_uint32),
        ("nSupportValue", c_uint32 * MAX_ENUM_ENTRIES),
        ("nReserved", c_uint8 * 16),
    ]


class STRINGPARAM(Structure):
    _fields_ = [
        ("chCurValue", c_char * MAX_STRING),
        ("nMaxLength", c_int64),
        ("nReserved", c_uint8 * 8),
    ]


class _Value(Union):
    _fields_ = [
        ("bBoolValue", c_uint32),
        ("stIntParam", INTPARAM),
        ("stFloatParam", FLOATPARAM),
        ("stEnumParam", ENUMPARAM),
        ("stStringParam", STRINGPARAM),
        ("nUnionSize", c_uint8 * 280),
    ]


class PARAM(Structure):
    _anonymous_ = ("value",)
    _fields_ = [("enParamType", c_uint32), ("nReserved0", c_uint32), ("value", _Value)]


class EXCEPTION_INFO(Structure):
    _fields_ = [
        ("nExceptionId", c_uint32),
        ("chExceptionDes", c_char * 256),
        ("nReserved", c_uint8 * 16),
    ]


class CALIB_INFO(Structure):
    _fields_ = [
        ("nWidth", c_uint32),
        ("nHeight", c_uint32),
        ("fFx", c_float),
        ("fFy", c_float),
        ("fCx", c_float),
        ("fCy", c_float),
        ("fK1", c_float),
        ("fK2", c_float),
        ("fP1", c_float),
        ("fP2", c_float),
        ("fK3", c_float),
        ("nReserved", c_uint8 * 20),
    ]


class INTRINSICS(Structure):
    _fields_ = CALIB_INFO._fields_


class EXTRINSICS(Structure):
    _fields_ = [
        ("fRotation", c_float * 9),
        ("fTranslation", c_float * 3),
        ("nReserved", c_uint8 * 16),
    ]


class FEATURE(Structure):
    _fields_ = [
        ("chName", c_char * 128),
        ("chDisplayName", c_char * 128),
        ("chCategory", c_char * 256),
        ("chUnit", c_char * 32),
        ("chToolTip", c_char * 512),
        ("chDescription", c_char * 1024),
        ("nType", c_uint32),
        ("nAccess", c_uint32),
        ("nVisibility", c_uint32),
        ("nEntryCount", c_uint32),
        ("nHasValue", c_uint32),
        ("nReserved0", c_uint32),
        ("stValue", PARAM),
        ("nReserved", c_uint8 * 40),
    ]


class FEATURE_ENTRY(Structure):
    _fields_ = [
        ("chName", c_char * 128),
        ("chDisplayName", c_char * 128),
        ("nValue", c_int64),
        ("nIsAvailable", c_uint32),
        ("nReserved", c_uint32),
    ]


class FRAME_CLOCK(Structure):
    _fields_ = [
        ("nReferenceTicks", c_uint64),
        ("nReferenceUtcNs", c_uint64),
        ("nReferenceHostNs", c_uint64),
        ("dNsPerTick", c_double),
        ("dNominalNsPerTick", c_double),
        ("dDriftPpm", c_double),
        ("dRateErrorPpm", c_double),
        ("nErrorNs", c_uint64),
        ("nDelayNs", c_uint64),
        ("nSamples", c_uint32),
        ("nSource", c_uint32),
        ("nReserved", c_uint8 * 16),
    ]


class FRAME_TIMES(Structure):
    _fields_ = [
        ("nTimeStamp", c_uint64),
        ("nArrivalUtcNs", c_uint64),
        ("nArrivalHostNs", c_uint64),
        ("nCaptureUtcNs", c_uint64),
        ("nCaptureErrorNs", c_uint64),
        ("nCaptureDelayNs", c_uint64),
        ("nFrameNum", c_uint32),
        ("nSource", c_uint32),
        ("nReserved", c_uint8 * 8),
    ]


class CLOUD_OPTIONS(Structure):
    _fields_ = [
        ("nCamera", c_uint32),
        ("nFormat", c_uint32),
        ("nLayout", c_uint32),
        ("nColor", c_uint32),
        ("nNormals", c_uint32),
        ("nReserved", c_uint8 * 12),
    ]


class CLOUD(Structure):
    _fields_ = [
        ("pPoints", c_void_p),
        ("pColors", c_void_p),
        ("pNormals", c_void_p),
        ("nTimeStamp", c_uint64),
        ("nCount", c_uint32),
        ("nValid", c_uint32),
        ("nWidth", c_uint32),
        ("nHeight", c_uint32),
        ("nFrameNum", c_uint32),
        ("nCamera", c_uint32),
        ("nFormat", c_uint32),
        ("nLayout", c_uint32),
        ("nColor", c_uint32),
        ("nPointStride", c_uint32),
        ("nColorStride", c_uint32),
        ("nNormalStride", c_uint32),
        ("nReserved", c_uint8 * 16),
    ]


class REC_INFO(Structure):
    _fields_ = [
        ("nFrames", c_uint64),
        ("nFirstUtcNs", c_uint64),
        ("nLastUtcNs", c_uint64),
        ("nWidth", c_uint32),
        ("nHeight", c_uint32),
        ("nColorWidth", c_uint32),
        ("nColorHeight", c_uint32),
        ("nIsClosed", c_uint32),
        ("nIsColorLossy", c_uint32),
        ("nReserved", c_uint8 * 80),
    ]


class REC_FRAME(Structure):
    _fields_ = [
        ("pDepth", c_void_p),
        ("pColor", c_void_p),
        ("nWidth", c_uint32),
        ("nHeight", c_uint32),
        ("nColorWidth", c_uint32),
        ("nColorHeight", c_uint32),
        ("nFrameNum", c_uint64),
        ("nTimeStamp", c_uint64),
        ("nArrivalUtcNs", c_uint64),
        ("nCaptureUtcNs", c_uint64),
        ("nLostBefore", c_uint64),
        ("nIsIncomplete", c_uint32),
        ("nReserved", c_uint8 * 52),
    ]


class REC_OPTIONS(Structure):
    _fields_ = [
        ("nColor", c_uint32),
        ("nJpegQuality", c_uint32),
        ("nQueueFrames", c_uint32),
        ("nSyncMs", c_uint32),
        ("nIsReplacing", c_uint32),
        ("nWaits", c_uint32),
        ("nReserved", c_uint8 * 40),
    ]


class REC_COUNTS(Structure):
    _fields_ = [
        ("nWritten", c_uint64),
        ("nWithoutColor", c_uint64),
        ("nDropped", c_uint64),
        ("nLost", c_uint64),
        ("nBytes", c_uint64),
        ("nReserved", c_uint8 * 24),
    ]


FRAME_CALLBACK = CFUNCTYPE(None, POINTER(FRAME_DATA), c_void_p)
EXCEPTION_CALLBACK = CFUNCTYPE(None, POINTER(EXCEPTION_INFO), c_void_p)

_handle = c_void_p
_out_handle = POINTER(c_void_p)
_count = POINTER(c_uint32)

#: The functions that the package calls, without the prefix OX3D_RGBD_, and what they take. All return a status.
FUNCTIONS: Dict[str, Tuple[Any, ...]] = {
    "GetSDKVersion": (POINTER(VERSION_INFO),),
    "GetDeviceList": (c_uint32, POINTER(DEVICE_INFO), c_uint32, _count),
    "OpenDevice": (_out_handle, POINTER(DEVICE_INFO)),
    "OpenDeviceByIp": (_out_handle, c_char_p),
    "OpenDeviceByName": (_out_handle, c_char_p),
    "OpenDeviceBySerialNumber": (_out_handle, c_char_p),
    "CloseDevice": (_out_handle,),
    "GetDeviceInfo": (_handle, POINTER(DEVICE_INFO)),
    "Start": (_handle,),
    "Stop": (_handle,),
    "FetchFrame": (_handle, POINTER(FRAME_DATA), c_uint32),
    "RegisterFrameCallBack": (_handle, FRAME_CALLBACK, c_void_p),
    "RegisterExceptionCallBack": (_handle, EXCEPTION_CALLBACK, c_void_p),
    "SoftTrigger": (_handle,),
    "SetImageNodeNum": (_handle, c_uint32),
    "Execute": (_handle, c_char_p),
    "SetParam": (_handle, c_char_p, POINTER(PARAM)),
    "GetCalibInfo": (_handle, c_uint32, POINTER(CALIB_INFO)),
    "GetFeatures": (_handle, c_char_p, POINTER(FEATURE), c_uint32, _count),
    "GetFeatureEntries": (_handle, c_char_p, POINTER(FEATURE_ENTRY), c_uint32, _count),
    "SetEnumByName": (_handle, c_char_p, c_char_p),
    "CopyFrame": (_handle, POINTER(FRAME_DATA), POINTER(POINTER(FRAME_DATA))),
    "TakeFrame": (_handle, POINTER(FRAME_DATA), POINTER(POINTER(FRAME_DATA))),
    "FreeFrame": (POINTER(FRAME_DATA),),
    "GetFrameClock": (_handle, POINTER(FRAME_CLOCK)),
    "GetFrameTimes": (_handle, POINTER(FRAME_DATA), POINTER(FRAME_TIMES)),
    "GetExtrinsics": (_handle, c_uint32, c_uint32, POINTER(EXTRINSICS)),
    "GetIntrinsics": (_handle, c_uint32, POINTER(INTRINSICS)),
    "MapFrameToPointCloud": (_handle, POINTER(FRAME_DATA), POINTER(CLOUD_OPTIONS), POINTER(CLOUD)),
    "ExportAllParam": (_handle, c_char_p),
    "ImportAllParam": (_handle, c_char_p),
}

#: The functions of libox3d-recording.so, without the prefix OX3D_REC_.
RECORDING_FUNCTIONS: Dict[str, Tuple[Any, ...]] = {
    "Open": (c_char_p, _out_handle),
    "GetInfo": (_handle, POINTER(REC_INFO)),
    "GetText": (_handle, c_char_p, c_char_p, c_uint32, _count),
    "GetIntrinsics": (_handle, c_uint32, POINTER(INTRINSICS)),
    "GetExtrinsics": (_handle, POINTER(EXTRINSICS)),
    "ReadFrame": (_handle, c_uint64, POINTER(REC_FRAME)),
    "Close": (_out_handle,),
    "Create": (_handle, c_char_p, POINTER(REC_OPTIONS), _out_handle),
    "AddFrame": (_handle, POINTER(FRAME_DATA)),
    "GetCounts": (_handle, POINTER(REC_COUNTS)),
    "Finish": (_out_handle, POINTER(REC_COUNTS)),
}
