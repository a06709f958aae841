"""What a camera sent is read again as it came, whatever became of the file."""

from pathlib import Path

import numpy as np
import pytest
from ox3d import Camera, Ox3dError, Recording, Status

OFFICE = Path(__file__).resolve().parents[1] / "data" / "office"


@pytest.fixture
def recorded(tmp_path):
    """A recording of four frames with raw color, and those frames."""
    with Camera("QUICK") as camera, camera.record(tmp_path / "a.mcap", color="raw", wait=True) as recorder:
        assert camera["ImageAlign"] == 0
        frames = []
        for frame in camera.frames(60):
            frames.append(frame)
            assert recorder.add(frame)
            if len(frames) == 4:
                break
        counts = recorder.close()
        assert camera["ImageAlign"] == 1
        assert (counts.written, counts.dropped, counts.bytes) == (4, 0, (tmp_path / "a.mcap").stat().st_size)
        assert counts.lost == frames[3].number - frames[0].number - 3
        with pytest.raises(Ox3dError, match="closed"):
            recorder.add(frames[0])
        lens = camera.calibration("color", raw=True)
    return tmp_path / "a.mcap", frames, lens


def test_frames_are_those_of_the_camera(recorded):
    path, frames, lens = recorded
    with Recording(path) as recording:
        assert len(recording) == 4 and [each.number for each in recording] == [each.number for each in frames]
        for kept, frame in zip(recording[:], frames):
            assert np.array_equal(kept.depth, frame.depth) and np.array_equal(kept.color, frame.color)
            assert (kept.timestamp, kept.arrival_ns) == (frame.timestamp, frame.time.arrival_ns)
            # A recording has the arrival there where the capture is not known; the quickest frame's is its arrival, too.
            capture = frame.time.capture_ns
            assert kept.capture_ns == (capture if capture != frame.time.arrival_ns else None)
        info = recording.info
        assert (info.serial, info.depth_size, info.color_size) == ("QUICK", (640, 480), (640, 480))
        assert info.is_closed and not info.is_color_lossy and info.first_ns == frames[0].time.arrival_ns
        assert recording.calibration("color").fx == pytest.approx(lens.fx, rel=1e-4)
        assert recording.extrinsics()[3].tolist() == [0, 0, 0, 1]
        assert "ExposureTime" in recording.features and recording.description.startswith("<?xml")
        assert "<" in recording.calibration_xml
        last = recording[-1]
        with pytest.raises(IndexError):
            recording[4]
    with pytest.raises(Ox3dError, match="closed"):
        recording[0]
    assert np.array_equal(last.depth, frames[3].depth)


def test_a_torn_recording_has_its_whole_frames(recorded):
    path, frames, _ = recorded
    torn = path.with_name("torn.mcap")
    torn.write_bytes(path.read_bytes()[: path.stat().st_size * 5 // 8])
    with Recording(torn) as recording:
        assert 0 < len(recording) < 4 and not recording.info.is_closed
        for kept, frame in zip(recording, frames):
            assert np.array_equal(kept.depth, frame.depth)


def test_a_folder_is_a_recording(recorded):
    with Recording(OFFICE) as recording:
        assert recording[0].number == 1 and recording[0].arrival_ns is None and recording.features == ""
        assert recording.calibration().fx > 0 and recording.info.first_ns is None


@pytest.mark.parametrize(
    "content, error, sentence",
    [
        (None, FileNotFoundError, "no such recording"),
        (b"", Ox3dError, "x.mcap"),
        (b"no recording", Ox3dError, "x.mcap"),
        (b"\x89MCAP0\r\n", Ox3dError, "x.mcap"),
    ],
)
def test_what_is_no_recording_is_told(tmp_path, content, error, sentence):
    if content is not None:
        (tmp_path / "x.mcap").write_bytes(content)
    with pytest.raises(error, match=sentence) as raised:
        Recording(tmp_path / "x.mcap")
    assert content is None or raised.value.name == "OX3D_REC_E_FOREIGN"


def test_a_file_is_neither_replaced_unasked_nor_made_without_frames(tmp_path):
    target = tmp_path / "a.mcap"
    with Camera("QUICK") as camera:
        with camera.record(target) as recorder:
            pass
        assert recorder.close().written == 0 and not any(tmp_path.glob("*.mcap*"))
        target.write_text("mine")
        with pytest.raises(Ox3dError, match="exists already") as raised:
            camera.record(target)
        assert raised.value.name == "OX3D_REC_E_EXISTS" and camera["ImageAlign"] == 1
        with pytest.raises(Ox3dError, match="cannot write into the folder"):
            camera.record(tmp_path / "none" / "a.mcap")
        with pytest.raises(ValueError, match="quality is 1 to 100"):
            camera.record(target, quality=0)
        recorder = camera.record(target, replace=True, wait=True)
        camera.start()
        with camera.borrow(60) as frame:
            assert recorder.add(frame)
    assert recorder.close().written == 1 and len(Recording(target)) == 1  # the camera's end is the recorder's
    with pytest.raises(Ox3dError) as raised:
        camera.record(target, replace=True)
    assert raised.value.code == Status.HANDLE


def test_a_program_that_forgets_leaves_a_whole_file(program, tmp_path):
    program(
        """
import ox3d
camera = ox3d.Camera("QUICK")
recorder = camera.record("a.mcap", wait=True)
camera.start()
recorder.add(camera.fetch(60))
"""
    )
    with Recording(tmp_path / "a.mcap") as recording:
        assert len(recording) == 1 and recording.info.is_closed
