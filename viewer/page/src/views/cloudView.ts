// cloudView.ts - the point cloud in 3D: three draws it, the shader makes the points. The camera's frame (x right, y down,
// z forward, millimetres) stays as it is; the eye's "up" is -y.
import {
  BufferGeometry, DataTexture, GLSL3, LinearFilter, Matrix3, NearestFilter, PerspectiveCamera, Points, RawShaderMaterial,
  RedIntegerFormat, RGBAFormat, Scene, Texture, UnsignedByteType, UnsignedShortType, Vector2, Vector3, Vector4, WebGLRenderer,
} from "three";
import { OrbitControls } from "three/examples/jsm/controls/OrbitControls.js";
import { el, iconButton } from "../controls/dom";
import { fitLens, type DepthFrame, type Picked } from "../geometry/depthFrame";
import { directionsOf } from "../geometry/lens";
import { colorTable, kColorTableSize } from "../picture/colorMap";
import { hasColorOfDepth, kNoCalibration } from "../picture/overlayPicture";
import type { CameraDetails, LensEntry } from "../protocol/wire";
import { app } from "../store/app";
import type { Camera, ColorFrame } from "../store/camera";
import { settings, type ColorMapName } from "../store/settings";
import { kFragmentShader, kVertexShader } from "./cloudShader";
import { beginMarkers, drawMeasurement } from "./markers";
import { rangeOf, summaryOf } from "./range";
import { frameOf, type View } from "./view";

const kFieldOfView = 50;
const kPickRadius = 9; // CSS pixels
const kClickTravel = 5; // a press that moves further is an orbit
const kNearestEye = 0.1; // behind the camera, times the middle distance
const kFarthestEye = 4;

function isSeen({ x, y, z }: Vector3): boolean {
  return Math.abs(x) <= 1 && Math.abs(y) <= 1 && z < 1;
}

function mapTexture(name: ColorMapName): DataTexture {
  const table = colorTable(name);
  const pixels = new Uint8Array(4 * kColorTableSize).fill(255);
  for (let i = 0; i < kColorTableSize; ++i) {
    pixels.set(table.subarray(3 * i, 3 * i + 3), 4 * i);
  }
  const texture = new DataTexture(pixels, kColorTableSize, 1, RGBAFormat, UnsignedByteType);
  texture.minFilter = texture.magFilter = LinearFilter;
  texture.needsUpdate = true;
  return texture;
}

export class CloudView implements View {
  readonly name = "cloud";
  readonly element: HTMLElement;
  readonly #stage = el("div", { class: "stage" });
  readonly #marks = el("canvas", { class: "marks" });
  readonly #note = el("p", { class: "view-note", role: "status", hidden: true }, kNoCalibration);
  readonly #renderer: WebGLRenderer;
  readonly #scene = new Scene();
  readonly #eye = new PerspectiveCamera(kFieldOfView, 1, 10, 50000);
  readonly #controls: OrbitControls;
  readonly #geometry = new BufferGeometry();
  readonly #material: RawShaderMaterial;
  readonly #watchSize: ResizeObserver;
  #depthTexture: DataTexture | null = null;
  #colorTexture: Texture | null = null;
  #shownDepth: DepthFrame | null = null;
  #shownColor: ColorFrame | null = null;
  #shownMap: ColorMapName | null = null;
  #mapTexture: DataTexture | null = null;
  #directions: { lens: LensEntry; table: Float32Array } | null = null;
  #isPlaced = false;
  #isPlacing = false;
  #isMoved = false; // by the user, who wants to keep what is seen
  #isDue = false;
  #pressed: [number, number] = [0, 0];

  constructor(readonly camera: Camera) {
    this.#renderer = new WebGLRenderer({ antialias: true, preserveDrawingBuffer: true });
    this.#renderer.setClearAlpha(0);
    this.#renderer.sortObjects = false;
    this.#material = this.#makeMaterial();
    const points = new Points(this.#geometry, this.#material);
    points.frustumCulled = false; // the geometry does not know where the shader puts its points
    this.#scene.add(points);
    this.#eye.up.set(0, -1, 0);
    const canvas = this.#renderer.domElement;
    canvas.tabIndex = 0;
    canvas.setAttribute("role", "img");
    canvas.setAttribute("aria-label", `Point cloud of ${camera.id}: drag to orbit, wheel to zoom, arrow keys to move`);
    this.#controls = new OrbitControls(this.#eye, canvas);
    this.#controls.listenToKeyEvents(canvas);
    this.#controls.addEventListener("change", () => {
      this.#isMoved = !this.#isPlacing;
      this.#render();
    });
    this.#stage.append(canvas, this.#marks);
    const home = iconButton("home", "View from the camera", "0", () => this.lookFromCamera());
    home.classList.add("home");
    this.element = frameOf("cloud", `Point cloud of ${camera.id}`, this.#stage, home, this.#note);
    this.#listen(canvas);
    this.#watchSize = new ResizeObserver(() => this.#resize());
    this.#watchSize.observe(this.#stage);
  }

  #makeMaterial(): RawShaderMaterial {
    return new RawShaderMaterial({
      glslVersion: GLSL3, vertexShader: kVertexShader, fragmentShader: kFragmentShader,
      uniforms: {
        depthImage: { value: null }, colorImage: { value: null }, colorTable: { value: null },
        depthLens: { value: new Vector4(1, 1, 0, 0) }, depthK: { value: [0, 0, 0, 0, 0] },
        colorLens: { value: new Vector4(1, 1, 0, 0) }, colorK: { value: [0, 0, 0, 0, 0] }, colorSize: { value: new Vector2(1, 1) },
        toColorRotation: { value: new Matrix3() }, toColorTranslation: { value: new Vector3() },
        isRegistered: { value: true }, isColored: { value: false }, range: { value: new Vector2(0, 1) },
        mmPerUnit: { value: 1 }, pointSize: { value: 2 },
      },
    });
  }

  #set(name: string, value: unknown): void {
    const uniform = this.#material.uniforms[name];
    if (uniform) {
      uniform.value = value;
    }
  }

  #listen(canvas: HTMLCanvasElement): void {
    canvas.addEventListener("pointerdown", (event) => {
      this.#pressed = [event.offsetX, event.offsetY];
    });
    canvas.addEventListener("pointermove", (event) => {
      if (event.buttons === 0) {
        const picked = this.#pick(event.offsetX, event.offsetY);
        if (picked) {
          this.camera.hover(picked.u, picked.v);
        } else {
          this.camera.leave();
        }
      }
    });
    canvas.addEventListener("pointerleave", () => this.camera.leave());
    canvas.addEventListener("click", (event) => {
      const moved = Math.hypot(event.offsetX - this.#pressed[0], event.offsetY - this.#pressed[1]);
      const picked = app.isMeasuring.value && moved < kClickTravel ? this.#pick(event.offsetX, event.offsetY) : null;
      if (picked) {
        this.camera.measure(picked);
      }
    });
  }

  canvas(): HTMLCanvasElement {
    this.#renderer.render(this.#scene, this.#eye);
    return this.#renderer.domElement;
  }

  dispose(): void {
    this.#watchSize.disconnect();
    this.#controls.dispose();
    this.#geometry.dispose();
    this.#material.dispose();
    this.#depthTexture?.dispose();
    this.#colorTexture?.dispose();
    this.#mapTexture?.dispose();
    this.#renderer.dispose();
    this.#renderer.forceContextLoss(); // a browser has few contexts, and gives them back late by itself
    this.element.remove();
  }

  // From behind the depth camera and a little above it, around the middle of what it sees, as far back as shows all of that.
  lookFromCamera(): void {
    const summary = summaryOf(this.camera);
    const [near, far] = summary && summary.validShare > 0 ? [summary.nearMm, summary.farMm] : [1000, 2000];
    const middle = (near + far) / 2;
    const corners = [...this.#corners(near), ...this.#corners(far)];
    this.#controls.target.set(0, 0, middle);
    let back = kNearestEye;
    do {
      this.#eye.position.set(0.22 * middle, -0.24 * middle, -back * middle);
      this.#eye.lookAt(this.#controls.target);
      this.#eye.updateMatrixWorld();
      back += 0.05;
    } while (back < kFarthestEye && !corners.every((corner) => isSeen(corner.clone().project(this.#eye))));
    this.#isPlacing = true;
    this.#controls.update();
    this.#isPlacing = false;
    this.#isMoved = false;
    this.#render();
  }

  // Where the corners of the depth picture are at a distance.
  #corners(distance: number): Vector3[] {
    if (!this.#directions || !this.#shownDepth) {
      return [];
    }
    const { table } = this.#directions;
    const { width, height } = this.#shownDepth;
    return [0, width - 1, width * (height - 1), width * height - 1].map((pixel) =>
      new Vector3(table[2 * pixel], table[2 * pixel + 1], 1).multiplyScalar(distance));
  }

  draw(): void {
    const frame = this.camera.depth.value;
    const details = this.camera.details.value;
    if (!frame || !details?.streams.depth) {
      return;
    }
    this.#takeDepth(frame);
    this.#takeColor(this.camera.color.value);
    this.#takeLenses(frame, details, details.streams.depth);
    if (this.#shownMap !== settings.value.colorMap) {
      this.#shownMap = settings.value.colorMap;
      this.#mapTexture?.dispose();
      this.#mapTexture = mapTexture(this.#shownMap);
      this.#set("colorTable", this.#mapTexture);
    }
    this.#set("range", new Vector2(...rangeOf(this.camera)));
    this.#set("pointSize", settings.value.pointSize * this.#renderer.getPixelRatio());
    const canColor = settings.value.cloudColor === "color" && this.#colorTexture !== null;
    this.#note.hidden = !canColor || hasColorOfDepth(details);
    this.#set("isColored", canColor && hasColorOfDepth(details));
    if (!this.#isPlaced) {
      this.#isPlaced = true;
      this.lookFromCamera();
    }
    this.#paint(); // at once, while the pictures are there that the textures were given
  }

  #takeDepth(frame: DepthFrame): void {
    if (frame === this.#shownDepth) {
      return;
    }
    const image = this.#depthTexture?.image as { width: number; height: number } | undefined;
    if (this.#depthTexture && image?.width === frame.width && image.height === frame.height) {
      this.#depthTexture.image = { data: frame.samples, width: frame.width, height: frame.height };
    } else {
      this.#depthTexture?.dispose();
      const texture = new DataTexture(frame.samples, frame.width, frame.height, RedIntegerFormat, UnsignedShortType);
      texture.internalFormat = "R16UI";
      texture.minFilter = texture.magFilter = NearestFilter;
      texture.unpackAlignment = 2;
      this.#depthTexture = texture;
      this.#geometry.setDrawRange(0, frame.width * frame.height);
    }
    this.#depthTexture.needsUpdate = true;
    this.#shownDepth = frame;
    this.#set("depthImage", this.#depthTexture);
    this.#set("mmPerUnit", frame.mmPerUnit);
  }

  #takeColor(color: ColorFrame | null): void {
    if (!color || color === this.#shownColor) {
      return;
    }
    const old = this.#shownColor;
    if (!this.#colorTexture || old?.width !== color.width || old.height !== color.height) {
      this.#colorTexture?.dispose();
      this.#colorTexture = new Texture(color.bitmap);
      this.#colorTexture.flipY = false;
      this.#colorTexture.generateMipmaps = false;
      this.#colorTexture.minFilter = this.#colorTexture.magFilter = LinearFilter;
    } else {
      this.#colorTexture.image = color.bitmap;
    }
    this.#colorTexture.needsUpdate = true;
    this.#shownColor = color;
    this.#set("colorImage", this.#colorTexture);
    this.#set("colorSize", new Vector2(color.width, color.height));
  }

  #takeLenses(frame: DepthFrame, details: CameraDetails, depth: LensEntry): void {
    const lens = fitLens(depth, frame.width, frame.height);
    this.#set("depthLens", new Vector4(lens.fx, lens.fy, lens.cx, lens.cy));
    this.#set("depthK", lens.distortion);
    this.#set("isRegistered", details.depthAligned);
    const shown = this.#shownColor;
    if (details.streams.color && details.depthToColor && shown) {
      const color = fitLens(details.streams.color, shown.width, shown.height);
      this.#set("colorLens", new Vector4(color.fx, color.fy, color.cx, color.cy));
      this.#set("colorK", color.distortion);
      this.#set("toColorRotation", new Matrix3().fromArray(details.depthToColor.rotation).transpose());
      this.#set("toColorTranslation", new Vector3().fromArray(details.depthToColor.translation));
    }
    if (JSON.stringify(this.#directions?.lens) !== JSON.stringify(lens)) {
      this.#directions = { lens, table: directionsOf(lens) };
    }
  }

  #resize(): void {
    const { clientWidth, clientHeight } = this.#stage;
    if (clientWidth > 0 && clientHeight > 0) {
      this.#renderer.setPixelRatio(Math.min(window.devicePixelRatio || 1, 2));
      this.#renderer.setSize(clientWidth, clientHeight);
      this.#eye.aspect = clientWidth / clientHeight;
      this.#eye.updateProjectionMatrix();
      if (this.#isPlaced && !this.#isMoved) {
        this.lookFromCamera(); // a window of another shape sees it from another distance
      }
      this.#render();
    }
  }

  // However much changes, there is one picture for each of the screen's.
  #render(): void {
    if (this.#isDue) {
      return;
    }
    this.#isDue = true;
    requestAnimationFrame(() => {
      this.#isDue = false;
      this.#paint();
    });
  }

  #paint(): void {
    if (this.#shownDepth) {
      this.#renderer.render(this.#scene, this.#eye);
    }
    this.#drawMarks();
  }

  // The nearest point to the eye among those within reach of a place on the screen.
  #pick(x: number, y: number): Picked | null {
    const frame = this.camera.depth.value;
    const directions = this.#directions;
    if (!frame || !directions || 2 * frame.samples.length !== directions.table.length) {
      return null;
    }
    const { clientWidth, clientHeight } = this.#stage;
    const view = this.#eye.projectionMatrix.clone().multiply(this.#eye.matrixWorldInverse).elements;
    let best = -1;
    let bestScore = Infinity;
    for (let i = 0; i < frame.samples.length; ++i) {
      const z = (frame.samples[i] as number) * frame.mmPerUnit;
      if (z === 0) {
        continue;
      }
      const px = (directions.table[2 * i] as number) * z;
      const py = (directions.table[2 * i + 1] as number) * z;
      const w = view[3] * px + view[7] * py + view[11] * z + view[15];
      const sx = (((view[0] * px + view[4] * py + view[8] * z + view[12]) / w + 1) * clientWidth) / 2 - x;
      const sy = ((1 - (view[1] * px + view[5] * py + view[9] * z + view[13]) / w) * clientHeight) / 2 - y;
      const off = Math.hypot(sx, sy);
      // In front beats beside, but two surfaces have to be apart for that.
      const score = w <= 0 || off > kPickRadius ? Infinity : w + 12 * off;
      if (score < bestScore) {
        bestScore = score;
        best = i;
      }
    }
    return best < 0 ? null : this.camera.pickAt(best % frame.width, Math.floor(best / frame.width));
  }

  #drawMarks(): void {
    const context = beginMarkers(this.#marks);
    if (!context) {
      return;
    }
    const { clientWidth, clientHeight } = this.#stage;
    const placeOf = ({ point }: Picked): [number, number] | null => {
      const at = new Vector3(point.x, point.y, point.z).project(this.#eye);
      return Math.abs(at.z) > 1 ? null : [((at.x + 1) * clientWidth) / 2, ((1 - at.y) * clientHeight) / 2];
    };
    const measured = this.camera.measured.value;
    drawMeasurement(context, measured, measured.map(placeOf));
    const hovered = this.camera.hovered.value;
    if (hovered) {
      drawMeasurement(context, [], [placeOf(hovered)]);
    }
  }
}
