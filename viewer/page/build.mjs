// build.mjs - makes the files that the server hands out: two scripts without imports, since the page's security policy
// lets neither an import map nor another host in, and beside them what is static and the licences of what is inside.
// Usage: node build.mjs [FOLDER], "dist" without one.
import { cp, mkdir, readFile, rm, writeFile } from "node:fs/promises";
import { dirname, join, resolve } from "node:path";
import { fileURLToPath } from "node:url";
import { build } from "esbuild";

const here = dirname(fileURLToPath(import.meta.url));
const out = resolve(process.argv[2] ?? join(here, "dist"));

await rm(out, { recursive: true, force: true });
await mkdir(out, { recursive: true });
await build({
  entryPoints: { app: join(here, "src/main.ts"), "depth-worker": join(here, "src/protocol/depthWorker.ts") },
  outdir: out,
  bundle: true,
  format: "esm",
  target: "es2022",
  minify: true,
  legalComments: "none",
  logLevel: "warning",
});
await cp(join(here, "static"), out, { recursive: true });

const parts = [];
for (const name of ["three", "fzstd", "fast-png", "fflate", "iobuffer"]) {
  const folder = join(here, "node_modules", name);
  const { version } = JSON.parse(await readFile(join(folder, "package.json"), "utf8"));
  parts.push(`${name} ${version}\n\n${(await readFile(join(folder, "LICENSE"), "utf8")).trim()}\n`);
}
await writeFile(join(out, "LICENSES.txt"), `Compiled into app.js and depth-worker.js:\n\n${parts.join("\n\n")}`);
