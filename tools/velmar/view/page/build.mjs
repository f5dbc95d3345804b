// Makes the page: one HTML file with script and style in it, compressed, and as C++.
// Usage: node build.mjs DIRECTORY, into which page.html, page.html.gz and EmbeddedPage.cpp are written
import { createHash } from "node:crypto";
import { mkdirSync, readFileSync, writeFileSync } from "node:fs";
import { join } from "node:path";
import { gzipSync } from "node:zlib";

import { build } from "esbuild";

const out = process.argv[2];
if (!out) throw new Error("usage: node build.mjs DIRECTORY");
mkdirSync(out, { recursive: true });

const { outputFiles } = await build({
  entryPoints: ["src/app.ts"],
  bundle: true,
  minify: true,
  write: false,
  outdir: out,
  format: "iife",
  target: "es2022",
  charset: "utf8",
  legalComments: "none",
  logLevel: "warning",
});
const output = (extension) => outputFiles.find(({ path }) => path.endsWith(extension)).text.trim();
const script = output(".js");
const style = output(".css");

const hash = (text) => `'sha256-${createHash("sha256").update(text).digest("base64")}'`;
const policy = [
  "default-src 'none'",
  `script-src ${hash(script)}`,
  `style-src ${hash(style)}`,
  "connect-src 'self'",
  "img-src data: blob:",
  "base-uri 'none'",
  "form-action 'none'",
].join("; ");
// What is taken in from others goes with its terms.
const licenses = ["three", "uplot"]
  .map((name) => `${name}\n\n${readFileSync(`node_modules/${name}/LICENSE`, "utf8").replaceAll("--", "- -")}`)
  .join("\n");
const parts = { policy, script, style, licenses };
const page = readFileSync("src/index.html", "utf8").replace(/@(policy|script|style|licenses)@/g, (_, name) => parts[name]);
const compressed = gzipSync(page, { level: 9 });

const lines = [];
for (let at = 0; at < compressed.length; at += 32) lines.push([...compressed.subarray(at, at + 32)].join(","));
const source = `#include "view/EmbeddedPage.h"

namespace {
constexpr unsigned char kPage[] = {
${lines.join(",\n")}};
} // namespace

std::span<const unsigned char> EmbeddedPage() { return kPage; }
`;
writeFileSync(join(out, "page.html"), page);
writeFileSync(join(out, "page.html.gz"), compressed);
writeFileSync(join(out, "EmbeddedPage.cpp"), source);
console.log(`the page: ${page.length} characters, compressed ${compressed.length} bytes`);
