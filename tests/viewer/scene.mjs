// scene.mjs - what the virtual camera looks at, as far as the room's empty walls go: the depth that a perfect camera has at
// a pixel. The numbers are those of virtual-camera/frames/SceneModel.
const kPitchDegrees = 9;
const kYawDegrees = 3;
const kWalls = { floor: ["y", 850], back: ["z", 2050], left: ["x", -1250], right: ["x", 1250], ceiling: ["y", -1400] };

const rotate = (degrees, a, b) => {
  const [sin, cos] = [Math.sin((degrees * Math.PI) / 180), Math.cos((degrees * Math.PI) / 180)];
  return [a * cos - b * sin, a * sin + b * cos];
};

// The point of the room that a pixel of the depth image sees where nothing stands before it, in the camera's frame.
export function roomPoint(lens, u, v) {
  const [x, y] = [(u - lens.cx) / lens.fx, (v - lens.cy) / lens.fy];
  const [down, forth] = rotate(-kPitchDegrees, y, 1); // about x, then about y
  const [ahead, right] = rotate(kYawDegrees, forth, x);
  const ray = { x: right, y: down, z: ahead };
  const depths = Object.values(kWalls).map(([axis, at]) => at / ray[axis]).filter((depth) => depth > 0);
  const depth = Math.min(...depths);
  return { x: x * depth, y: y * depth, z: depth };
}

export const distance = (a, b) => Math.hypot(a.x - b.x, a.y - b.y, a.z - b.z);
