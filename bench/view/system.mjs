// What the system says of a process.
import { readdirSync, readFileSync } from "node:fs";

/** Processor microseconds of each thread so far. */
export function threadTimes(pid) {
  const threads = readdirSync(`/proc/${pid}/task`);
  return threads.map(
    (thread) => Number(readFileSync(`/proc/${pid}/task/${thread}/schedstat`, "utf8").split(" ")[0]) / 1000,
  );
}

export function residentKiB(pid) {
  return Number(/^VmRSS:\s*(\d+)/m.exec(readFileSync(`/proc/${pid}/status`, "utf8"))[1]);
}
