// A parent of parlen-mac-vm, to copy from: Node 18 or newer, no dependencies.
//
//   await clone("vm1", "vm2");                    // also: create, status
//   const guest = new Guest("vm2", { gui: true });
//   await guest.running;
//   await guest.type("hello\n");
//   console.log(await guest.stop());              // { status: 0, crashed: false, reason: "guest stopped …" }
//
// Run by itself it starts a guest, waits until it runs, and stops it:  node parent.mjs <bundle>
import { spawn } from "node:child_process";
import { createInterface } from "node:readline";
import { pathToFileURL } from "node:url";

const PROTO = 1;
const TOOL = process.env.PARLEN_PROGRAM ?? "parlen-mac-vm";
const REFUSALS = ["pause-refused", "resume-refused", "input-failed"];

/** The tool has refused or given up something. `code` is for programs, the message for people. */
export class Refused extends Error {
  constructor(code, message) {
    super(message);
    this.code = code;
  }
}

/** Detached: a session of its own. Ctrl-C in the parent's terminal must not switch the guest off. */
function start(args, input = "ignore") {
  return spawn(TOOL, args, { detached: true, stdio: [input, "pipe", "pipe"] });
}

/** Calls `take` with each line. Resolves at the stream's end; a stream that is not read holds up the tool. */
function eachLine(stream, take) {
  return new Promise((resolve) => createInterface({ input: stream }).on("line", take).on("close", resolve));
}

/** Resolves to the exit status, negative for a signal, once the process has ended and both streams are read. */
function ended(child, streams) {
  const status = new Promise((resolve, reject) => {
    child.on("error", reject);
    child.on("close", (code, signal) => resolve(code ?? signal));
  });
  return Promise.all([status, ...streams]).then(([result]) => result);
}

/** Runs `create`, `clone` or `status` to its end. Resolves to its last event. */
async function once(args, { onEvent = (_event) => {}, note = (_line) => {} } = {}) {
  const child = start(args);
  let last = {};
  const status = await ended(child, [
    eachLine(child.stdout, (line) => onEvent((last = JSON.parse(line)))),
    eachLine(child.stderr, note),
  ]);
  if (last.type === "error") throw new Refused(last.code, last.message);
  if (status !== 0) throw new Refused("killed", `${args[0]} ended with ${status}`);
  return last;
}

export async function create(image, bundle, diskGb = 80, handlers = {}) {
  if (!Number.isInteger(diskGb) || diskGb < 1 || diskGb > 8388607) throw new RangeError("1 to 8388607 GiB");
  return once(["create", "--ipsw", image, "--bundle", bundle, "--disk-gb", String(diskGb)], handlers);
}

export const clone = (source, copy, newMachine = true) =>
  once(["clone", "--from", source, "--to", copy, ...(newMachine ? ["--regenerate-machine-id"] : [])]);

export const status = (bundle) => once(["status", "--bundle", bundle]);

export class Guest {
  #child;
  #answer = null; // of the command under way
  #turn = Promise.resolve(); // refusals overtake, so only one command is ever under way
  #stopped = null;
  #error = null;
  #isOver = false;

  constructor(bundle, { gui = false, share = "", logsShare = "", onEvent = (_event) => {}, note = console.error } = {}) {
    const args = ["run", "--bundle", bundle];
    if (gui) args.push("--gui");
    if (share) args.push("--share", share);
    if (logsShare) args.push("--logs-share", logsShare);
    this.#child = start(args, "pipe");
    this.#child.stdin.on("error", () => {}); // the tool has ended; `end` says how
    /** Resolves once the machine runs; rejects if it never does. */
    this.running = new Promise((resolve, reject) => (this._started = { resolve, reject }));
    this.running.catch(() => {});
    /** How the run ended, once the process has: { status, crashed, reason, error }. */
    this.end = ended(this.#child, [
      eachLine(this.#child.stdout, (line) => {
        const event = JSON.parse(line);
        this.#take(event);
        onEvent(event); // what is not known here is passed on, and else ignored
      }),
      eachLine(this.#child.stderr, note),
    ]).then((result) => this.#finish(result));
  }

  type = (text, delayMs = 60) => this.#ask({ type: "text", text, delayMs });
  press = (key, delayMs = 60) => this.#ask({ type: "key", key, delayMs });
  pause = () => this.#ask({ type: "pause" });
  resume = () => this.#ask({ type: "resume" });
  show = (title = "", detail = "") => this.#send({ type: "window", show: true, title, detail });
  hide = () => this.#send({ type: "window", show: false });

  /** Asks the guest to shut down, then switches it off, then kills the tool. Resolves to how the run ended. */
  async stop(seconds = [60, 10]) {
    const steps = [() => this.#send({ type: "stop" }), () => this.#signal("SIGTERM"), () => this.#signal("SIGKILL")];
    for (const [i, step] of steps.entries()) {
      if (this.#isOver) break;
      step();
      await this.#endWithin(seconds[i]);
    }
    return this.end;
  }

  async #endWithin(seconds) {
    if (seconds === undefined) return this.end;
    let timer;
    await Promise.race([this.end, new Promise((resolve) => (timer = setTimeout(resolve, seconds * 1000)))]);
    clearTimeout(timer);
  }

  #ask(command) {
    const answered = this.#turn.then(
      () =>
        new Promise((resolve, reject) => {
          if (this.#isOver) return reject(new Refused("ended", "the guest has stopped"));
          this.#answer = { resolve, reject };
          this.#send(command);
        }),
    );
    this.#turn = answered.catch(() => {});
    return answered;
  }

  #send(command) {
    if (!this.#isOver) this.#child.stdin.write(JSON.stringify(command) + "\n");
  }

  #signal(name) {
    if (!this.#isOver) this.#child.kill(name);
  }

  #take(event) {
    if (event.type === "ready" && event.proto !== PROTO) {
      this.#error = new Refused("proto", `the tool speaks protocol ${event.proto}`);
      this.#signal("SIGTERM");
    } else if (event.type === "state" && event.state === "running") this._started.resolve();
    else if (event.type === "state" && event.state === "stopped") this.#stopped = event;
    else if (event.type === "guest-power" || event.type === "input-done") this.#settle(null);
    else if (event.type === "error") {
      const refused = new Refused(event.code, event.message);
      if (REFUSALS.includes(event.code)) this.#settle(refused);
      else this.#error = refused;
    }
  }

  #settle(refused) {
    const answer = this.#answer;
    this.#answer = null;
    if (refused) answer?.reject(refused);
    else answer?.resolve();
  }

  #finish(result) {
    this.#isOver = true;
    this.#settle(new Refused("ended", "the guest stopped before the answer"));
    this._started.reject(this.#error ?? new Refused("ended", `the run ended with ${result}`));
    const { crashed = this.#error !== null, reason = null } = this.#stopped ?? {};
    return { status: result, crashed, reason, error: this.#error };
  }
}

if (import.meta.url === pathToFileURL(process.argv[1]).href) {
  const guest = new Guest(process.argv[2], { onEvent: (event) => console.log(JSON.stringify(event)) });
  await guest.running.catch(() => {});
  const end = await guest.stop();
  console.log(end);
  process.exitCode = end.status === 0 ? 0 : 1;
}
