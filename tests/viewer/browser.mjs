// browser.mjs OX3D NODE_MODULES - ox3d view as its user meets it: a real browser, headless, on a virtual camera and a recording.
// Waits are for conditions, and long: how fast anything is is no test. Pictures are left in the working folder.
import assert from "node:assert/strict";
import { execFileSync, spawn } from "node:child_process";
import { once } from "node:events";
import { existsSync, mkdirSync, readdirSync, readFileSync, rmSync, writeFileSync } from "node:fs";
import { createRequire } from "node:module";
import { join, resolve } from "node:path";
import { createInterface } from "node:readline";
import { after, before, test } from "node:test";
import { pathToFileURL } from "node:url";
import { distance, roomPoint } from "./scene.mjs";

const [tool, modules] = process.argv.slice(2).map((path) => resolve(path));
const puppeteer = createRequire(join(modules, "x.js"))("puppeteer-core").default;
const { decode } = await import(pathToFileURL(join(modules, "fast-png", "lib", "index.js")));

const kPatienceMs = 90000;
const kToken = "0123456789abcdefBROWSER";
const kCamera = "VIEW01";
const kRecording = "recording-1";
const kCycle = 20; // frames, after which the same pictures come again
// Without noise a pixel's truth is known; the frames of one cycle cost their rendering once. The time that it stays away
// after a reset is what the page shows "lost" for.
const kCameras = `[camera]\nserial = ${kCamera}\nnoise = no\ncycle = ${kCycle}\nfps = 5\nfault = replug_after 1500\n`;
const work = resolve("work");
const complaints = [];
let server, origin, browser, page;
let expected = /^$/; // what the browser says of answers that a test asks for

const environment = {
  ...process.env, OX3D_PROVIDER: "virtual", OX3D_RGBD_DATA_DIR: work, OX3D_VIRTUAL_CAMERAS: join(work, "cameras.txt"),
};
delete environment.OX3D_VIEWER_DIR;

async function startServer(port, recordings = [join(work, "scene.mcap")]) {
  const shown = recordings.flatMap((file) => ["--recording", file]);
  server = spawn(tool, ["view", "--port", port, "--token", kToken, ...shown, "--record-dir", work],
    { env: environment, cwd: work, stdio: ["ignore", "pipe", "inherit"] });
  const [line] = await Promise.race([once(createInterface({ input: server.stdout }), "line"),
    once(server, "exit").then(([code]) => assert.fail(`ox3d view has ended: ${code}`))]);
  assert.match(line, new RegExp(`^http://127\\.0\\.0\\.1:\\d+/#token=${kToken}$`));
  return line;
}

async function stopServer() {
  const ended = once(server, "exit");
  server.kill("SIGINT");
  await ended;
}

const api = async (path, method = "GET", body = undefined) => {
  const response = await fetch(origin + path, {
    method, body: body && JSON.stringify(body), headers: { Authorization: `Bearer ${kToken}`, "Content-Type": "application/json" },
  });
  assert.ok(response.ok, `${method} ${path}: ${response.status} ${await response.clone().text()}`);
  return response.json();
};

// ---- The page -------------------------------------------------------------------------------------------------

const waitFor = (what, ...args) => page.waitForFunction(what, { timeout: kPatienceMs, polling: 100 }, ...args);
const textOf = (selector) => page.$eval(selector, (element) => element.textContent);
const waitText = (selector, pattern) => waitFor((where, source) =>
  new RegExp(source).test(document.querySelector(where)?.textContent ?? ""), selector, pattern.source);
const inView = (view, what) => `[data-view="${view}"] ${what}`;

// Numbers of a view's picture: how much of it is painted, how many colors it has, and the colors at shares of its size.
const lookAt = (view, places) => page.$eval(inView(view, "canvas:not(.marks)"), (canvas, at) => {
  const copy = document.createElement("canvas");
  [copy.width, copy.height] = [canvas.width, canvas.height];
  const context = copy.getContext("2d");
  context.drawImage(canvas, 0, 0);
  const { data } = context.getImageData(0, 0, copy.width, copy.height);
  const colors = new Set();
  let painted = 0;
  for (let i = 0; i < data.length; i += 4) {
    painted += data[i + 3] > 0 ? 1 : 0;
    colors.add((data[i] << 16) | (data[i + 1] << 8) | data[i + 2]);
  }
  const pixel = ([x, y]) => {
    const from = 4 * (Math.floor(y * copy.height) * copy.width + Math.floor(x * copy.width));
    return [...data.subarray(from, from + 4)];
  };
  return { painted: (4 * painted) / data.length, colors: colors.size, at: at.map(pixel), width: copy.width };
}, places);

async function waitForPicture(view, isThere) {
  for (const end = Date.now() + kPatienceMs; ; await new Promise((resolve) => setTimeout(resolve, 200))) {
    const seen = await lookAt(view, [[0.4, 0.08], [0.9, 0.97]]); // the back wall and the floor, where nothing passes
    if (isThere(seen)) {
      return seen;
    }
    assert.ok(Date.now() < end, `${view}: ${JSON.stringify(seen)}`);
  }
}

// Where the pixel of a flat view lies in the window: the picture fills its element as far as its shape lets it.
const placeOf = (view, u, v) => page.$eval(inView(view, ".picture"), (canvas, x, y) => {
  const box = canvas.getBoundingClientRect();
  const scale = Math.min(box.width / canvas.width, box.height / canvas.height);
  return { x: box.x + box.width / 2 + (x + 0.5 - canvas.width / 2) * scale, y: box.y + box.height / 2 + (y + 0.5 - canvas.height / 2) * scale };
}, u, v);

const value = (name) => `:is(.readout, .timeline) [data-value="${name}"]`;
const numberOf = async (name) => Number.parseFloat(await textOf(value(name)));

async function measured() {
  await waitText(value("distance"), /mm/);
  return page.$eval(value("distance"), ({ dataset, textContent }) => ({
    shown: Number.parseFloat(textContent), pixels: JSON.parse(dataset.pixels),
  }));
}

async function newFrame(before) {
  const old = before ?? (await textOf(value("frame")));
  await waitFor((where, number) => ![number, "–"].includes(document.querySelector(where).textContent), value("frame"), old);
}

async function choose(camera) {
  await page.waitForSelector(`.chip[data-camera="${camera}"]`);
  for (const chip of await page.$$(".chip")) {
    const [id, isShown] = await chip.evaluate((element) => [element.dataset.camera, element.ariaPressed === "true"]);
    if ((id === camera) !== isShown) {
      await chip.click();
    }
  }
  await waitFor((id) => document.querySelectorAll(".camera").length === 1 && document.querySelector(".camera").dataset.camera === id, camera);
}

async function feature(name) {
  await page.click("#tab-features");
  const row = await page.waitForSelector(`[data-feature="${name}"]`, { timeout: kPatienceMs });
  await page.$eval(".features input[type=search]", (input, text) => {
    input.value = text;
    input.dispatchEvent(new Event("input"));
  }, name);
  return row;
}

async function enter(row, value) {
  await row.$eval("input[type=number]", (input, text) => {
    input.value = text;
    input.dispatchEvent(new Event("change"));
  }, String(value));
}

// The file that a key saves, as the browser's user finds it.
async function saved(key) {
  const folder = join(work, "saved");
  const had = new Set(existsSync(folder) ? readdirSync(folder) : []);
  await page.keyboard.press(key);
  for (const end = Date.now() + kPatienceMs; ; await new Promise((resolve) => setTimeout(resolve, 100))) {
    const whole = existsSync(folder) && readdirSync(folder).find((name) => !had.has(name) && !name.endsWith(".crdownload"));
    if (whole) {
      return readFileSync(join(folder, whole));
    }
    assert.ok(Date.now() < end, `nothing was saved by ${key}`);
  }
}

function pointsOf(ply) {
  const head = ply.toString("latin1", 0, ply.indexOf("end_header\n") + 11);
  const count = Number(/element vertex (\d+)/.exec(head)[1]);
  assert.match(head, /uchar blue/);
  assert.equal(ply.length, head.length + 15 * count);
  return { count, point: (i) => [0, 4, 8].map((at) => 1000 * ply.readFloatLE(head.length + 15 * i + at)) };
}

const result = (name, wanted) => waitFor((of, what) => document.querySelector(`[data-feature="${of}"]`)?.dataset.result === what, name, wanted);

// ---- The whole way --------------------------------------------------------------------------------------------

before(async () => {
  rmSync(work, { recursive: true, force: true });
  mkdirSync(work, { recursive: true });
  writeFileSync(environment.OX3D_VIRTUAL_CAMERAS, kCameras);
  execFileSync(tool, ["record", join(work, "scene.mcap"), "--frames", "12"], { env: environment, cwd: work, stdio: ["ignore", "ignore", "inherit"] });
  execFileSync(tool, ["convert", "--to", "png", join(work, "scene.mcap"), join(work, "scene")], { env: environment, cwd: work, stdio: ["ignore", "ignore", "inherit"] });
  const url = await startServer("0");
  origin = new URL(url).origin;
  const executablePath = ["/usr/bin/chromium", "/usr/bin/chromium-browser"].find(existsSync);
  assert.ok(executablePath, "chromium is not installed: ./run setup test");
  browser = await puppeteer.launch({
    executablePath, headless: true, userDataDir: join(work, "profile"), protocolTimeout: 2 * kPatienceMs, timeout: 120000, env: { ...process.env, HOME: work },
    args: ["--no-sandbox", "--disable-dev-shm-usage", "--use-angle=swiftshader", "--enable-unsafe-swiftshader"],
    defaultViewport: { width: 1280, height: 720 },
  });
  await (await browser.target().createCDPSession()).send("Browser.setDownloadBehavior", { behavior: "allowAndName", downloadPath: join(work, "saved") });
  page = await browser.newPage();
  page.setDefaultTimeout(kPatienceMs);
  page.on("pageerror", (error) => complaints.push(`${error.stack ?? error}`));
  page.on("console", (message) => {
    if ((message.type() === "error" || message.type() === "warn") && !expected.test(message.text())) {
      complaints.push(message.text());
    }
  });
  page.on("request", (request) => {
    const asked = new URL(request.url());
    if (asked.protocol !== "blob:" && asked.origin !== origin) {
      complaints.push(`a request leaves the host: ${request.url()}`);
    }
  });
  await page.goto(url);
});

after(async () => {
  await browser?.close();
  server?.kill("SIGKILL");
  rmSync(work, { recursive: true, force: true, maxRetries: 5 });
});

test("depth, color and cloud are those of the scene, and the token is gone from the address", async () => {
  await choose(kCamera);
  const depth = await waitForPicture("depth", ({ painted }) => painted > 0.8);
  const [[farRed, , farBlue], [nearRed, , nearBlue]] = depth.at;
  assert.ok(farBlue > farRed && nearRed > nearBlue, `far is blue and near is red: ${depth.at}`);
  const color = await waitForPicture("color", ({ colors }) => colors > 5000);
  assert.ok(color.at[0].slice(0, 3).every((part) => part > 150), `the wall is light: ${color.at}`);
  const cloud = await waitForPicture("cloud", ({ painted, colors }) => painted > 0.4 && colors > 2000);
  assert.ok(cloud.width > 300);
  assert.equal(page.url(), `${origin}/`);
  await page.screenshot({ path: "viewer.png" });
});

test("a place that is pointed at in color is told by the depth that sees it through the other lens", async () => {
  const { streams, depthToColor: { rotation: r, translation: t } } = await api(`/api/camera?id=${kCamera}`);
  const { width, height } = await page.$eval(inView("color", ".picture"), ({ width, height }) => ({ width, height }));
  assert.deepEqual([width, height], [streams.color.width, streams.color.height]);
  for (const [u, v] of [[0.4, 0.08], [0.9, 0.95]].map(([x, y]) => [Math.round(x * width), Math.round(y * height)])) {
    const { x, y } = await placeOf("color", u, v);
    await page.mouse.move(x, y);
    await waitText(value("depth"), /\d/);
    const told = [await numberOf("X"), await numberOf("Y"), await numberOf("Z")];
    const [atU, atV] = (await textOf(value("pixel"))).split(",").map(Number);
    const wall = roomPoint(streams.depth, atU, atV);
    assert.ok(distance({ x: told[0], y: told[1], z: told[2] }, wall) < 2, `${told} for ${Object.values(wall)}`);
    const [px, py, pz] = [0, 1, 2].map((row) => r[3 * row] * told[0] + r[3 * row + 1] * told[1] + r[3 * row + 2] * told[2] + t[row]);
    const { fx, fy, cx, cy } = streams.color;
    const off = Math.hypot((fx * px) / pz + cx - u, (fy * py) / pz + cy - v);
    assert.ok(off < 1.5 * Math.max(1, fx / streams.depth.fx), `told ${off} pixels of color away`);
    await page.mouse.move(0, 0);
    await waitText(value("depth"), /^–$/);
  }
});

test("a distance picked in depth and one picked in the cloud are the room's", async () => {
  const { streams, depthAligned } = await api(`/api/camera?id=${kCamera}`);
  assert.equal(depthAligned, false);
  const truth = (u, v) => roomPoint(streams.depth, u, v);
  await page.keyboard.press("m");
  for (const [u, v] of [[250, 40], [600, 460]]) { // back wall, floor
    const { x, y } = await placeOf("depth", u, v);
    await page.mouse.move(x, y);
    await waitText(value("depth"), /\d/);
    const [atU, atV] = (await textOf(value("pixel"))).split(",").map(Number);
    const point = truth(atU, atV);
    for (const [axis, name] of [["x", "X"], ["y", "Y"], ["z", "depth"]]) {
      assert.ok(Math.abs((await numberOf(name)) - point[axis]) < 2, `${name} at ${atU}, ${atV}: ${await numberOf(name)} for ${point[axis]}`);
    }
    await page.mouse.click(x, y);
  }
  const picked = await measured();
  const away = Math.abs(picked.shown - distance(...picked.pixels.map(([u, v]) => truth(u, v))));
  assert.ok(away < 2, `in depth: ${JSON.stringify(picked)}, off by ${away} mm`);
  await page.screenshot({ path: "measure.png" });

  await page.keyboard.press("Escape");
  await page.keyboard.press("m");
  const box = await (await page.$(inView("cloud", "canvas"))).boundingBox();
  for (const [x, y] of [[0.3, 0.3], [0.78, 0.3]]) { // left and right on the back wall, beside the picture
    await page.mouse.click(box.x + x * box.width, box.y + y * box.height);
  }
  const inCloud = await measured();
  const off = Math.abs(inCloud.shown - distance(...inCloud.pixels.map(([u, v]) => truth(u, v))));
  assert.ok(off < 2 && inCloud.shown > 500, `in the cloud: ${JSON.stringify(inCloud)}, off by ${off} mm`);
  await page.keyboard.press("Escape");
});

test("a feature that is changed in the page is changed in the camera, and a refusal says why", async () => {
  await enter(await feature("ExposureTime"), 4321);
  await result("ExposureTime", "done");
  const [{ value }] = (await api(`/api/features?id=${kCamera}&q=ExposureTime`)).features.filter(({ name }) => name === "ExposureTime");
  assert.equal(value, 4321);
  expected = /status of 400/;
  await enter(await page.$('[data-feature="ExposureTime"]'), 1e9);
  await result("ExposureTime", "failed");
  assert.match(await textOf('[data-feature="ExposureTime"] .feature-error:not([hidden])'), /\w+ \w+/);
  assert.equal(await page.$eval('[data-feature="ExposureTime"] input[type=number]', (input) => input.value), "4321");
  await enter(await page.$('[data-feature="ExposureTime"]'), "");
  assert.equal(await page.$eval('[data-feature="ExposureTime"] input[type=number]', (input) => input.value), "4321");
  await page.screenshot({ path: "features.png" });
  // Whole numbers of 64 bits keep each digit, which a number of the browser would not.
  assert.equal(await (await feature("TimestampLatchValue")).$eval(".hint", (hint) => hint.textContent), "0 to 9223372036854775807 ns");
});

test("a camera that is unplugged is said to be away, and comes back by itself", async () => {
  expected = /status of 503/; // features of a camera that is away
  // Each state is written down as it comes: it may be a short one.
  await page.$eval(".camera .state", (element) => {
    window.states = [element.dataset.state];
    new MutationObserver(() => window.states.push(element.dataset.state)).observe(element, { attributes: true });
  });
  await (await feature("DeviceReset")).$eval("button", (button) => button.click());
  await waitFor(() => window.states.some((state) => state !== "streaming") && window.states.at(-1) === "streaming");
  const states = await page.evaluate(() => window.states);
  assert.ok(states.includes("lost"), `${states}`);
  await newFrame();
});

test("a paused picture stays, whatever comes, and a step is one frame", async () => {
  const press = (label) => page.click(`.camera-bar [aria-label="${label}"]`);
  await press("Pause");
  const before = await textOf(value("frame"));
  // Depth that is asked for anew is sent anew: the server has done so when it tells statistics.
  for (const key of ["4", "1", "1", "4"]) {
    await page.keyboard.press(key);
  }
  await page.evaluate(() => {
    window.tellings = 0;
    new MutationObserver(() => ++window.tellings).observe(document.querySelector(".camera .rate"), { childList: true });
  });
  await waitFor(() => window.tellings > 2);
  assert.equal(await textOf(value("frame")), before);
  // What is saved meanwhile is what is seen, and not what the camera sends.
  const shown = await saved("p");
  const cloud = pointsOf(await saved("l"));
  assert.deepEqual(await saved("p"), shown);
  const { data, width } = decode(shown);
  assert.equal(cloud.count, data.filter((sample) => sample > 0).length);
  const { streams: { depth: lens }, millimetresPerUnit } = await api(`/api/camera?id=${kCamera}`);
  const [u, v] = [250, 40]; // on the back wall
  const [x, y, z] = cloud.point(data.subarray(0, v * width + u).filter((sample) => sample > 0).length);
  const wall = roomPoint(lens, u, v);
  assert.ok(distance({ x, y, z }, wall) < 2, `${[x, y, z]} for ${Object.values(wall)}`);
  assert.ok(Math.abs(z - data[v * width + u] * millimetresPerUnit) < 0.01);
  let stepped = before;
  do {
    await press("Next frame");
    await newFrame(stepped);
    stepped = await textOf(value("frame"));
  } while ((Number(stepped) - Number(before)) % kCycle === 0);
  assert.notDeepEqual(await saved("p"), shown);
  await press("Go on");
  await newFrame();
});

test("a recording ends when it is told to a second time, however long the key is held", async () => {
  for (let times = 0; times < 4; ++times) {
    await page.keyboard.down("r");
  }
  await page.keyboard.up("r");
  await waitText(".record .record-time", /\d:\d\d/);
  await newFrame();
  await newFrame();
  assert.equal(await page.$(".notice.error"), null);
  await page.keyboard.press("r");
  await waitText(".notice.info", /Recorded \d+ frames to VIEW01-\d+-\d+\.mcap/);
  const [, file] = /to (\S+\.mcap)/.exec(await textOf(".notice.info"));
  assert.ok(existsSync(join(work, file)), file);
});

test("points that the page saves and those of the server lie on the pixels of the same depth image, aligned or not", async () => {
  const cloudOf = async () => {
    const response = await fetch(`${origin}/snapshot/cloud.ply?id=${kCamera}`, { headers: { Authorization: `Bearer ${kToken}` } });
    return pointsOf(Buffer.from(await response.arrayBuffer()));
  };
  const offPixels = ({ count, point }, { fx, fy, cx, cy }) => {
    let off = 0;
    for (let i = 0; i < count; i += 97) {
      const [x, y, z] = point(i);
      const [u, v] = [(x / z) * fx + cx, (y / z) * fy + cy];
      off = Math.max(off, Math.abs(u - Math.round(u)), Math.abs(v - Math.round(v)));
    }
    return off;
  };
  for (const isAligned of [true, false]) {
    const shown = await textOf(value("frame"));
    await api(`/api/features/ImageAlign?id=${kCamera}`, "PUT", { value: isAligned ? 1 : 0 });
    await newFrame(shown);
    let details, off;
    do { // the first pictures, and the lenses that the page knows, may be those of before
      details = await api(`/api/camera?id=${kCamera}`);
      off = [await saved("l").then(pointsOf), await cloudOf()].map((cloud) => offPixels(cloud, details.streams.depth));
    } while (!off.every((pixels) => pixels < 0.01) && Number(await textOf(value("frame"))) < Number(shown) + 100);
    assert.equal(details.depthAligned, isAligned);
    assert.ok(off.every((pixels) => pixels < 0.01), `page and server are ${off} pixels away, aligned: ${isAligned}`);
  }
});

test("a recording is stepped, moved through and played", async () => {
  await choose(kRecording);
  await waitForPicture("depth", ({ painted }) => painted > 0.8);
  const press = (label) => page.click(`.timeline [aria-label="${label}"]`);
  const position = (text) => waitText(value("position"), new RegExp(`^${text} / 12`));
  const isPlaying = (wanted) => waitFor((label) => document.querySelector(`.timeline [aria-label="${label}"]`), wanted ? "Pause" : "Play");
  await isPlaying(true);
  await press("Pause");
  await isPlaying(false);
  await page.$eval(".timeline .place", (slider) => {
    slider.value = "3";
    slider.dispatchEvent(new Event("input"));
    slider.dispatchEvent(new Event("change"));
  });
  await position("4");
  await press("Next frame");
  await position("5");
  await press("Frame before");
  await position("4");
  const thumb = await page.$eval(".timeline .place", (slider) => {
    const { x, y, width, height } = slider.getBoundingClientRect();
    return [x + 8 + ((width - 16) * slider.valueAsNumber) / Number(slider.max), y + height / 2];
  });
  await page.mouse.click(...thumb); // taken and let go, not moved
  await page.keyboard.press(".");
  await position("5");
  assert.equal(await page.$eval(".timeline .place", (slider) => slider.value), "4");
  await page.keyboard.press(",");
  await position("4");
  await page.screenshot({ path: "recording.png" });
  const recorded = decode(readFileSync(join(work, "scene", "depth", "000004.png")));
  const shown = decode(await saved("p"));
  assert.deepEqual([shown.width, shown.height, shown.depth, shown.channels], [recorded.width, recorded.height, 16, 1]);
  assert.ok(Buffer.from(shown.data.buffer).equals(Buffer.from(recorded.data.buffer)), "depth is saved as it was recorded, to the bit");
  await press("Play");
  await isPlaying(true);
  await waitText(value("position"), /^(?!4 )/);
});

test("a page for which the server has no place says so, and is let in when there is one", async () => {
  const crowd = await browser.newPage();
  await crowd.goto(`${origin}/icon.svg`);
  const isOpen = await crowd.evaluate(async (token) => {
    window.sockets = Array.from({ length: 15 }, () => new WebSocket(`ws://${location.host}/ws`, ["ox3d.v1", `ox3d.token.${token}`]));
    const open = await Promise.all(window.sockets.map((socket) => new Promise((resolve) => {
      socket.onopen = () => resolve(true);
      socket.onclose = () => resolve(false);
    })));
    window.sockets.forEach((socket) => socket.send('{"type":"subscribe","camera":"none","streams":[]}'));
    return open.every(Boolean);
  }, kToken);
  assert.ok(isOpen);
  const late = await browser.newPage();
  await late.goto(`${origin}/#token=${kToken}`);
  const waitBanner = (pattern) => late.waitForFunction((source) => {
    const banner = document.querySelector(".banner");
    return banner && new RegExp(source).test(banner.hidden ? "" : banner.textContent);
  }, { timeout: kPatienceMs, polling: 100 }, pattern);
  await waitBanner("lets this page not look");
  await crowd.close();
  await waitBanner("^$");
  await late.close();
  await page.bringToFront();
});

test("a server that went away is named, and the page is there again when it is", async () => {
  expected = /ERR_CONNECTION|ERR_EMPTY_RESPONSE|WebSocket connection/; // a request may be under way when the server ends
  await choose(kCamera);
  await newFrame();
  await stopServer();
  await waitText(".banner:not([hidden])", /No connection to the server/); // one that is ending may still answer for a while
  await startServer(new URL(origin).port);
  await waitFor(() => document.querySelector(".banner").hidden);
  expected = /^$/;
  await newFrame();
});

test("a host without a camera is said to have none, the first that is plugged in is shown by itself, and why where it does not open", async () => {
  expected = /ERR_CONNECTION|ERR_EMPTY_RESPONSE|WebSocket connection|status of 404/; // the page asks for the camera that it has shown
  await stopServer();
  writeFileSync(environment.OX3D_VIRTUAL_CAMERAS, "# none\n");
  await page.goto(await startServer(new URL(origin).port, []));
  await page.reload(); // the address differs in its token alone, for which a browser loads nothing
  expected = /^$/;
  await waitText(".cameras .empty", /No camera was found/);
  assert.equal((await page.$$(".chip")).length, 0);
  expected = /status of 503/; // nor is one that does not open asked for anything once nobody looks at it
  writeFileSync(environment.OX3D_VIRTUAL_CAMERAS, `${kCameras}fault = deny_open\n`);
  await waitText(".cover", /cannot be shown.*access denied/);
  await page.click(".chip");
  await waitFor(() => document.querySelector(".camera") === null);
  const asked = [];
  page.on("request", (request) => asked.push(request.url()));
  await new Promise((resolve) => setTimeout(resolve, 3000));
  assert.deepEqual(asked.filter((url) => url.includes("/api/camera?")), []);
  writeFileSync(environment.OX3D_VIRTUAL_CAMERAS, kCameras);
  await page.click(".chip");
  await newFrame();
  await waitForPicture("depth", ({ painted }) => painted > 0.8);
  expected = /^$/;
});

test("nothing was complained about, and nothing was asked of another host", () => assert.deepEqual(complaints, []));
