"""What a program does with a camera."""

import asyncio
import threading
from pathlib import Path

import numpy as np
import ox3d
import pytest
from ox3d import Camera, Ox3dError, Status

OFFICE = Path(__file__).resolve().parents[1] / "data" / "office"


@pytest.fixture
def camera():
    with Camera("QUICK") as opened:
        yield opened


def test_cameras_are_listed():
    found = {each.serial: each for each in ox3d.list()}
    assert sorted(found) == ["CLOSER", "FIRST", "FLEETING", "QUICK", "SECOND"]
    assert (found["FIRST"].ip, found["FIRST"].transport, found["FIRST"].mac[:6]) == ("192.168.1.50", "gige", "02:00:")
    assert (found["SECOND"].ip, found["SECOND"].transport) == ("", "usb")


@pytest.mark.parametrize(
    "choice, serial",
    [({}, "FIRST"), ({"ip": "192.168.1.50"}, "FIRST"), ({"model": "Second"}, "SECOND"), ({"serial": "QUICK"}, "QUICK")],
)
def test_a_camera_is_opened_by_what_is_known_of_it(choice, serial):
    with Camera(**choice) as opened:
        assert opened.info.serial == serial


@pytest.mark.parametrize(
    "name, value, back",
    [
        ("ExposureTime", 5000, 5000.0),
        ("TriggerSource", "Line0", "Line0"),
        ("TriggerSource", 7, "Software"),
        ("ChunkModeActive", False, False),
        ("Ox3dThreads", np.int64(2), 2),
        ("DeviceUserID", "left", "left"),
    ],
)
def test_features_have_values_of_python(camera, name, value, back):
    camera[name] = value
    assert camera[name] == back and type(camera[name]) is type(back)
    described = camera.feature(name)
    assert (described.name, described.value, described.access) == (name, back, "rw") and name in camera


@pytest.mark.parametrize(
    "name, value, error, sentence",
    [
        ("ExposureTim", 1, Ox3dError, "did you mean 'ExposureTime'?"),
        ("ExposureTime", 1e12, Ox3dError, "of 20 to 1e+06"),
        ("ExposureTime", "long", TypeError, "takes a number"),
        ("TriggerSource", "Line9", Ox3dError, "Line0, Line1, Software"),
        ("Ox3dThreads", 2.5, TypeError, "whole number"),
        ("Ox3dThreads", 2**63, ValueError, "64 bits"),
        ("DeviceUserID", "x" * 256, ValueError, "less than 256 bytes"),
        ("DeviceReset", 1, Ox3dError, "run() executes it"),
        ("Nul\0", 1, ValueError, "NUL"),
    ],
)
def test_what_a_feature_does_not_take_is_said(camera, name, value, error, sentence):
    with pytest.raises(error) as raised:
        camera[name] = value
    assert sentence in str(raised.value)


def test_all_features_are_listed(camera):
    found = {each.name: each for each in camera.features()}
    assert found["TriggerSource"].entries == ("Line0", "Line1", "Software")
    assert (found["ExposureTime"].min, found["ExposureTime"].unit) == (20, "us")
    assert (found["DeviceReset"].type, found["DeviceReset"].value) == ("command", None)
    with pytest.raises(Ox3dError, match="it is a command"):
        camera["DeviceReset"]


def test_a_fetched_frame_stays_as_it_was(camera):
    camera.start()
    frame = camera.fetch(60)
    depth, color = frame.depth, frame.color
    before = depth.copy(), color.copy()
    for _ in range(20):
        camera.fetch(60)
    camera.close()
    assert (depth.dtype, depth.shape, color.dtype, color.shape) == (np.uint16, (480, 640), np.uint8, (480, 640, 3))
    assert 500 < np.median(depth[depth > 0]) < 5000 and np.array_equal(depth, before[0])
    del frame
    assert np.array_equal(color, before[1]) and color.transpose(2, 0, 1).flags.c_contiguous
    color[:] = 0  # its own


def test_the_ways_to_a_frame_lead_to_one(camera):
    camera["OutputRgbd"] = camera["Ox3dOcclusionMask"] = 1
    camera.trigger()  # frame 1 of each start; left alone, the camera may be ahead
    camera.start()
    camera.trigger()
    frame = camera.fetch(60)
    camera.stop()
    camera.trigger()
    camera.start()
    camera.trigger()
    with camera.borrow(60) as borrowed:
        assert borrowed.number == 1 and np.array_equal(borrowed.depth, frame.depth)
        assert np.array_equal(borrowed.points().xyz, frame.points().xyz)
    assert np.array_equal(frame.rgbd["depth"], frame.depth) and np.array_equal(frame.rgbd["rgb"], frame.color)
    assert np.array_equal(frame.mask == 255, frame.depth > 0)
    assert [image.data.shape[:2] for image in frame.images] == [(480, 640)] * 4


def test_points_are_those_of_the_depth(camera, tmp_path):
    camera["ImageAlign"] = 0
    for frame in camera.frames(60):
        break
    lens = camera.calibration("depth")
    cloud = frame.points(organised=True, normals=True)
    assert np.array_equal(cloud.xyz[..., 2], frame.depth)
    y, x = 240, 320
    assert cloud.xyz[y, x, 0] == pytest.approx((x - lens.cx) / lens.fx * frame.depth[y, x], rel=1e-3)
    assert len(cloud) == np.count_nonzero(frame.depth) == len(frame.points().xyz)
    assert np.linalg.norm(cloud.normals, axis=2).max() == pytest.approx(1, abs=1e-5)
    moved = frame.points("color", color=False)
    way = camera.extrinsics("depth", "color")
    first = frame.points().xyz[0]
    assert moved.rgb is None and np.allclose(moved.xyz[0], way[:3, :3] @ first + way[:3, 3], atol=0.01)
    assert np.allclose(way @ camera.extrinsics("color", "depth"), np.eye(4), atol=1e-4)
    assert camera.calibration("color", raw=True).matrix[0, 0] > 0
    cloud.save(tmp_path / "cloud.ply")
    head, _, body = (tmp_path / "cloud.ply").read_bytes().partition(b"end_header\n")
    assert b"element vertex %d\n" % len(cloud) in head and len(body) == len(cloud) * (12 + 12 + 3)


def test_frames_have_times(camera):
    for frame in camera.frames(60):
        if frame.number == 5:
            break
    assert frame.time.source != "none"
    assert abs(frame.time.arrival_ns - frame.time.capture_ns) <= frame.time.error_ns + frame.time.delay_ns + 10**10
    clock = camera.clock()
    at = clock.reference_ns + (frame.timestamp - clock.reference_ticks) * clock.ns_per_tick
    assert abs(at - frame.time.capture_ns) <= frame.time.error_ns + clock.error_ns + 10**6


def test_a_trigger_gives_one_frame(camera):
    camera.trigger()
    camera.start()
    camera.trigger()
    assert camera.fetch(60).number == 1
    with pytest.raises(Ox3dError) as raised:
        camera.fetch(timeout=0.15)
    assert raised.value.code == Status.NO_DATA and raised.value.name == "OX3D_RGBD_E_NO_DATA"
    assert str(raised.value) == "fetch: OX3D_RGBD_E_NO_DATA: no data"


def test_callbacks_bring_frames_and_what_becomes_of_the_camera(camera):
    frames, enough = [], threading.Event()

    def told(frame):
        frames.append(frame)
        if len(frames) == 3:
            enough.set()

    camera.on_frame(told)
    camera.start()
    assert enough.wait(60)
    with pytest.raises(Ox3dError, match="E_STATE"):
        camera.fetch()
    camera.on_frame(None)
    assert frames[0].number < frames[1].number < frames[2].number < camera.fetch(60).number
    with Camera("FLEETING") as fleeting:
        lost = []
        fleeting.on_event(lambda event: (lost.append(event), enough.set()))
        enough.clear()
        fleeting.start()
        assert enough.wait(60) and lost == ["offline"]
        with pytest.raises(Ox3dError):
            for _ in range(4):
                fleeting.fetch(timeout=0.1)


def test_asyncio_gets_frames_and_gives_up_at_once(camera):
    async def take():
        numbers = []
        stream = camera.stream(60)
        async for frame in stream:
            numbers.append(frame.number)
            if len(numbers) == 3:
                break
        await stream.aclose()
        camera["TriggerMode"] = "On"
        silent = camera.stream(timeout=None).__anext__()
        with pytest.raises(asyncio.TimeoutError):
            await asyncio.wait_for(silent, 0.3)
        return numbers

    numbers = asyncio.run(take())
    assert sorted(set(numbers)) == numbers and len(numbers) == 3


def test_a_recording_is_a_camera():
    with Camera(recording=OFFICE, loop=False) as played:
        frames = list(played.frames(timeout=2))
        assert frames[-1].number == len(list((OFFICE / "depth").iterdir())) and frames[0].depth.any()
    assert [each.serial for each in ox3d.list()][0] == "FIRST"
    for wrong in (OFFICE / "depth", OFFICE / "nothing", OFFICE / "a\nb"):
        with pytest.raises((ValueError, OSError), match="recording"):
            Camera(recording=wrong)


def test_ten_thousand_frames_leave_memory_as_it_was(program):
    assert "flat" in program(
        """
import gc, os, sys, tempfile, threading, ox3d
rows = "".join(f"[camera]\\nserial = C{i}\\nfps = 240\\ncycle = 4\\ncolor_width = 640\\ncolor_height = 480\\n" for i in range(4))
open("four.ini", "w").write(rows)
os.environ["OX3D_VIRTUAL_CAMERAS"] = os.path.abspath("four.ini")
cameras = [ox3d.Camera(f"C{i}") for i in range(4)]
for camera in cameras:
    camera["ImageAlign"] = camera["ResolutionAlign"] = 0
    camera.start()
warm, measured = threading.Barrier(5), threading.Barrier(5)
def take(camera):
    for i in range(2600):
        if i == 100:
            warm.wait()
            measured.wait()
        frame = camera.fetch(60)
        frame.depth[0, 0] = frame.color.shape[0]
def size():
    gc.collect()
    return int(open("/proc/self/statm").read().split()[1]) * os.sysconf("SC_PAGE_SIZE"), sys.getallocatedblocks()
threads = [threading.Thread(target=take, args=(camera,)) for camera in cameras]
[thread.start() for thread in threads]
warm.wait()
bytes_before, blocks_before = size()
measured.wait()
[thread.join() for thread in threads]
bytes_after, blocks_after = size()
assert blocks_after - blocks_before < 2000, (blocks_before, blocks_after)
assert bytes_after - bytes_before < 64 << 20, (bytes_before, bytes_after)
print("flat", bytes_after - bytes_before, blocks_after - blocks_before)
"""
    )
