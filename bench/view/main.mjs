// Measures velmar view: how long a frame takes from the library to the page, what it costs the processor, what many
// frames and a page that stalls do to it, and how soon the page has a picture.
import { writeFileSync } from "node:fs";
import { get } from "node:http";
import { setTimeout as pause } from "node:timers/promises";
import { parseArgs } from "node:util";
import { launch } from "../../tests/view/support/browser.mjs";
import { Program, simulate, view, waitFor } from "../../tests/view/support/programs.mjs";
import { bareClient, bareSender, delaysOf, openPage } from "./pages.mjs";
import { residentKiB, threadTimes } from "./system.mjs";

const { values: options } = parseArgs({
  options: {
    seconds: { type: "string", default: "600" },
    json: { type: "string" },
    only: { type: "string" },
    each: { type: "string", default: "10" },
  },
});
const kRate = 120;
const kSeconds = Number(options.each); // of each measurement but the long one
const kLoads = [
  ["person", []],
  ["stage", ["--skeletons", "10", "--markers", "1000"]],
];

const rows = [];
function row(what, load, unit, ours, { floor = [], wanted, note = "" } = {}) {
  const all = { what, load, unit, ours: [ours].flat(), floor: [floor].flat(), note };
  rows.push(all);
  const [value, beside] = [all.ours, all.floor].map((list) =>
    list.length ? `${quantile(list, 0.5).toFixed(2)} ${unit}` : "-",
  );
  const words = [
    what.padEnd(34),
    load.padEnd(22),
    value.padStart(14),
    beside.padStart(14),
    (wanted ?? "-").padStart(10),
  ];
  console.log(`${words.join(" ")}  ${note}`);
}

function quantile(values, share) {
  const sorted = [...values].sort((a, b) => a - b);
  return sorted[Math.round(share * (sorted.length - 1))];
}

/** A server and what shows it, for as long as it is measured. */
async function shownWhile(rate, load, measure) {
  const server = await simulate("--rate", String(rate), ...load);
  const shown = await view("127.0.0.1");
  const client = await bareClient(shown.address);
  await waitFor("frames come", () => client.frames > 10);
  const { bytes } = client;
  client.close();
  await measure(shown, bytes);
  await shown.end();
  await server.end();
}

async function measureDelay(browser) {
  for (const [name, load] of kLoads)
    await shownWhile(kRate, load, async (shown, bytes) => {
      const floor = await bareSender(bytes, kRate);
      const measure = async (address, draws) => {
        const tab = await openPage(browser, address, { draws });
        await tab.waitForFunction(() => window.noted.frames.length > 100 && window.noted.pings.length > 20, {
          polling: 100,
        });
        const delays = await delaysOf(tab, kSeconds);
        await tab.close();
        return delays;
      };
      const beside = await measure(floor.address, false);
      for (const draws of [false, true]) {
        const { toPage, toSocket, clockErrorMs } = await measure(shown.address, draws);
        const note = `clocks within ${clockErrorMs.toFixed(2)} ms, ${toPage.length} frames of ${bytes} bytes`;
        const where = draws ? "library to message, page drawing" : "library to message, bare page";
        row(`${where}, p50`, name, "ms", quantile(toPage, 0.5), { floor: quantile(beside.toPage, 0.5), note });
        row(`${where}, p99`, name, "ms", quantile(toPage, 0.99), {
          floor: quantile(beside.toPage, 0.99),
          wanted: "< 8.3",
        });
        row("  of it library to socket, p99", name, "ms", quantile(toSocket, 0.99));
      }
      floor.close();
    });
}

/** Processor microseconds for a frame: of the whole process, and of its busiest thread. */
async function costOf(pid) {
  const [before, began] = [threadTimes(pid), performance.now()];
  await pause(kSeconds * 1000);
  const frames = ((performance.now() - began) / 1000) * kRate;
  const spent = threadTimes(pid).map((time, i) => (time - (before[i] ?? 0)) / frames);
  return { whole: spent.reduce((sum, time) => sum + time, 0), busiest: Math.max(...spent) };
}

async function measureProcessor() {
  for (const [name, load] of kLoads)
    await shownWhile(kRate, load, async (shown) => {
      const watch = new Program("watch", "127.0.0.1", "--json");
      await watch.says(/frames_delivered":[1-9]/);
      const receiving = await costOf(watch.process.pid);
      await watch.end();
      row("receive path, velmar watch", name, "us", receiving.whole, {
        note: `its receive thread alone ${receiving.busiest.toFixed(1)} us`,
      });
      for (const pages of [0, 1]) {
        const client = pages ? await bareClient(shown.address) : null;
        const { whole } = await costOf(shown.process.pid);
        client?.close();
        const ratios = [receiving.whole, receiving.busiest].map((floor) => `${(whole / floor).toFixed(1)} times`);
        const note = `${ratios[0]} the whole client, ${ratios[1]} its receive thread`;
        row(`velmar view, ${pages ? "one page" : "no page"}`, name, "us", whole, {
          floor: receiving.whole,
          wanted: "< 5 times",
          note,
        });
      }
    });
}

/** One page that stalls, again and again when it is sent away, and two that take frames, at 1 kHz. */
async function measureLong(seconds) {
  await shownWhile(1000, kLoads[1][1], async (shown) => {
    const live = [await bareClient(shown.address), await bareClient(shown.address)];
    let stalls = 0;
    let over = false;
    const stall = async () => {
      const socket = await bareClient(shown.address, { stalled: true });
      ++stalls;
      socket.on("error", () => {}).on("close", () => over || stall());
      return socket;
    };
    await stall();
    await waitFor(
      "the history is full",
      () => live[0].statistics?.history && live[0].statistics.history.oldest > 0,
      90000,
    );
    const resident = [residentKiB(shown.process.pid)];
    for (const end = performance.now() + seconds * 1000; performance.now() < end;) {
      await pause(Math.min(10000, end - performance.now()));
      resident.push(residentKiB(shown.process.pid));
    }
    over = true;
    const { statistics } = live[0];
    const lost = Object.entries(statistics).filter(([key]) => key.startsWith("missing_"));
    row(
      "lost by the library",
      "stage at 1 kHz",
      "",
      lost.reduce((sum, [, count]) => sum + count, 0),
      {
        wanted: "0",
        note: `of ${statistics.frames_delivered}: ${lost.filter(([, count]) => count > 0).map(([key, count]) => `${count} ${key}`)}`,
      },
    );
    row("passed over by the program", "stage at 1 kHz", "", statistics.passed_over, {
      wanted: "0",
      note: `history of ${(statistics.history.bytes / 2 ** 20).toFixed(0)} MiB`,
    });
    const spread = Math.max(...resident) - Math.min(...resident);
    row("memory, largest less smallest", "stage at 1 kHz", "KiB", spread, {
      note: `in ${seconds} s, every 10 s; first ${resident[0]}, last ${resident.at(-1)} KiB; one page stalled (${stalls} times let in), two live`,
    });
    for (const page of live)
      row("frames taken by a live page", "stage at 1 kHz", "", page.frames, { note: `${page.skipped} skipped` });
    live.forEach((page) => page.close());
  });
}

/** How soon after its address was called for the page has a frame in a picture. */
async function firstPicture(browser, address) {
  const tab = await browser.newPage();
  await tab.setViewport({ width: 1280, height: 720 });
  await tab.goto(address);
  const ms = await tab.waitForFunction(
    () => window.velmar?.pictures > 0 && window.velmar.frame && performance.now(),
    { polling: "raf" },
  );
  const value = await ms.jsonValue();
  await tab.close();
  return value;
}

function compressedBytes(address) {
  return new Promise((sized, failed) => {
    const count = (response) => {
      let bytes = 0;
      response.on("data", (part) => (bytes += part.length)).on("end", () => sized(bytes));
    };
    get(address, { headers: { "Accept-Encoding": "gzip" } }, count).on("error", failed);
  });
}

async function measurePage(browser) {
  await shownWhile(kRate, [], async (shown) => {
    const times = [];
    while (times.length < 5) times.push(await firstPicture(browser, shown.address));
    row("first picture", "person", "ms", times, {
      wanted: "< 1000",
      note: "drawn by the processor; median of 5 loads in new tabs",
    });
    row("page, compressed", "", "kB", (await compressedBytes(shown.address)) / 1000, { wanted: "< 300" });
  });
}

const browser = await launch();
const chapters = {
  delay: () => measureDelay(browser),
  processor: measureProcessor,
  page: () => measurePage(browser),
  long: () => measureLong(Number(options.seconds)),
};
console.log(
  `${kRate} Hz unless said, ${kSeconds} s each; person: ${process.env.VELMAR} simulate, stage: the same ${kLoads[1][1].join(" ")}`,
);
console.log(
  `${"what".padEnd(34)} ${"load".padEnd(22)} ${"ours".padStart(14)} ${"floor".padStart(14)} ${"wanted".padStart(10)}`,
);
for (const [name, measure] of Object.entries(chapters))
  if (!options.only || options.only === name) await measure();
await browser.close();
if (options.json) writeFileSync(options.json, JSON.stringify(rows, null, 1));
