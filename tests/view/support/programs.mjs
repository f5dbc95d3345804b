// Runs of the tool as a user starts them, and waiting for what they lead to.
import { spawn } from "node:child_process";
import { mkdtempSync, rmSync } from "node:fs";
import { tmpdir } from "node:os";
import { join } from "node:path";
import { setTimeout as pause } from "node:timers/promises";

const velmar = process.env.VELMAR;
if (!velmar) throw new Error("VELMAR names no program: these tests are run by scripts/view-test.sh");

/** The first value of the condition that is true. */
export async function waitFor(what, condition, deadlineMs = 20000) {
  const end = performance.now() + deadlineMs;
  for (;;) {
    const value = await condition();
    if (value) return value;
    if (performance.now() > end) throw new Error(`not within ${deadlineMs} ms: ${what}`);
    await pause(50);
  }
}

/** Ends with this process, at the latest. Output and errors are one text. */
export class Program {
  static #running = new Set();
  static {
    process.on("exit", () => Program.#running.forEach((program) => program.process.kill("SIGKILL")));
  }
  output = "";
  code = null;

  constructor(...words) {
    this.what = `velmar ${words.join(" ")}`;
    this.process = spawn(velmar, words, { stdio: ["ignore", "pipe", "pipe"] });
    for (const stream of [this.process.stdout, this.process.stderr]) {
      stream.setEncoding("utf8").on("data", (text) => (this.output += text));
      stream.unref();
    }
    this.process.unref(); // nothing waits for it unasked
    Program.#running.add(this);
    this.process.on("close", (code) => {
      this.code = code ?? -1;
      Program.#running.delete(this);
    });
  }

  /** What the expression finds in the output. */
  async says(expression) {
    const said = () => expression.exec(this.output) ?? (this.code === null ? null : ["", `code ${this.code}`]);
    const match = await waitFor(`${this.what} says ${expression}`, said);
    if (!match[0]) throw new Error(`${this.what}: ${match[1]}, ${this.output}`);
    return match;
  }

  /** Its code, when it has ended by itself. */
  async ended() {
    await waitFor(`${this.what} ends`, () => this.code !== null);
    return this.code;
  }
  end() {
    this.process.kill("SIGINT");
    return this.ended();
  }
}

export async function simulate(...options) {
  const server = new Program("simulate", ...options);
  await server.says(/serving port/);
  return server;
}

/** Shows a server or a file; `address` is that of its page. */
export async function view(source, ...options) {
  const shown = new Program("view", source, "--port", "0", ...options);
  shown.address = (await shown.says(/in the browser: (http\S+)/))[1];
  return shown;
}

/** A file name in a folder that goes with the test file. */
export function scratch(name) {
  folder ??= mkdtempSync(join(tmpdir(), "velmar-view-"));
  return join(folder, name);
}
let folder;
process.on("exit", () => folder && rmSync(folder, { recursive: true }));
