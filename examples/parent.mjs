// @ts-check
// A parent of parlen-mac-vm, to copy from: Node (tried with 20), no dependencies. The types of all lines are in
// protocol.d.ts, for editors and `tsc --noEmit --checkJs --strict --types node --target es2022 --module nodenext`
// (TypeScript 5.9, @types/node 20); it runs without them.
//
//   await clone("vm1", "vm2");                    // also: create, status
//   const guest = new Guest("vm2", { gui: true });
//   await guest.running;
//   await guest.type("hello\n");
//   const { addresses } = await guest.until(() => up("logs"));  // with the guest kit and { logsShare: "logs" }
//   console.log(await guest.stop());              // { status: 0, crashed: false, reason: "guest stopped …" }
//
// Run by itself it starts a guest, waits until it runs, and stops it:  node parent.mjs <bundle>
import { spawn } from "node:child_process";
import { readFileSync, rmSync } from "node:fs";
import { createInterface } from "node:readline";
import { pathToFileURL } from "node:url";

const PROTO = 1;
const TOOL = process.env.PARLEN_PROGRAM ?? "parlen-mac-vm";
const REFUSALS = ["pause-refused", "resume-refused", "input-failed"];

/**
 * @import { Command, ErrorCode, Event, StoppedEvent } from "./protocol.d.ts"
 * @typedef {ErrorCode | "ended" | "killed" | "proto"} Code  the tool's codes, and this parent's own
 * @typedef {{ onEvent?: (event: Event) => void, note?: (line: string) => void }} Handlers
 * @typedef {{ status: number | string, crashed: boolean, reason: string | null, error: Refused | null }} End
 */

/** The tool has refused or given up something. `code` is for programs, the message for people. */
export class Refused extends Error {
  /** @param {Code} code @param {string} message */
  constructor(code, message) {
    super(message);
    this.code = code;
  }
}

/**
 * Detached: a session of its own. Ctrl-C in the parent's terminal must not switch the guest off.
 * @param {string[]} args @param {"ignore" | "pipe"} input
 * @returns {import("node:child_process").ChildProcessWithoutNullStreams}
 */
function start(args, input = "ignore") {
  return /** @type {any} */ (spawn(TOOL, args, { detached: true, stdio: [input, "pipe", "pipe"] }));
}

/**
 * Calls `take` with each line. Resolves at the stream's end; a stream that is not read holds up the tool.
 * @param {import("node:stream").Readable} stream @param {(line: string) => void} take @returns {Promise<void>}
 */
function eachLine(stream, take) {
  return new Promise((resolve) => createInterface({ input: stream }).on("line", take).on("close", resolve));
}

/**
 * Resolves to the exit status, or the signal's name, once the process has ended and both streams are read.
 * @param {import("node:child_process").ChildProcess} child @param {Promise<void>[]} streams
 * @returns {Promise<number | string>}
 */
function ended(child, streams) {
  const status = new Promise((resolve, reject) => {
    child.on("error", reject);
    child.on("close", (code, signal) => resolve(code ?? signal));
  });
  return Promise.all([status, ...streams]).then(([result]) => result);
}

/**
 * Runs `create`, `clone` or `status` to its end. Resolves to its last event.
 * @param {string[]} args @param {Handlers} handlers @returns {Promise<Event>}
 */
export async function once(args, { onEvent = () => {}, note = () => {} } = {}) {
  const child = start(args);
  let last = /** @type {Event} */ ({});
  const status = await ended(child, [
    eachLine(child.stdout, (line) => onEvent((last = JSON.parse(line)))),
    eachLine(child.stderr, note),
  ]);
  if (last.type === "error") throw new Refused(last.code, last.message);
  if (status !== 0) throw new Refused("killed", `${args[0]} ended with ${status}`);
  return last;
}

/** @param {string} image @param {string} bundle @param {Handlers} handlers */
export async function create(image, bundle, diskGb = 80, handlers = {}) {
  if (!Number.isInteger(diskGb) || diskGb < 1 || diskGb > 8388607) throw new RangeError("1 to 8388607 GiB");
  return once(["create", "--ipsw", image, "--bundle", bundle, "--disk-gb", String(diskGb)], handlers);
}

/** @param {string} source @param {string} copy */
export const clone = (source, copy, newMachine = true) =>
  once(["clone", "--from", source, "--to", copy, ...(newMachine ? ["--regenerate-machine-id"] : [])]);

/** @param {string} bundle */
export const status = (bundle) => once(["status", "--bundle", bundle]);

/** Removes what a guest kit has left. Before each start of the guest. @param {string} folder */
export function clear(folder) {
  for (const name of ["up", "run", "done"]) rmSync(`${folder}/${name}`, { force: true });
}

/**
 * What a guest with the guest kit says of itself once it is up, or null.
 * @param {string} folder @returns {{ boot: number, host: string, addresses: string[] } | null}
 */
export function up(folder) {
  try {
    return JSON.parse(readFileSync(`${folder}/up`, "utf8")); // written whole, by a rename
  } catch {
    return null;
  }
}

export class Guest {
  #child;
  /** @type {{ resolve: () => void, reject: (why: Refused) => void } | null} of the command under way */
  #answer = null;
  /** @type {Promise<void>} refusals overtake, so only one command is ever under way */
  #turn = Promise.resolve();
  /** @type {StoppedEvent | null} */
  #stopped = null;
  /** @type {Refused | null} */
  #error = null;
  #isOver = false;
  #started = { resolve: () => {}, reject: (/** @type {Refused} */ _why) => {} };

  /** @param {string} bundle @param {Handlers & { gui?: boolean, share?: string, logsShare?: string }} options */
  constructor(bundle, { gui = false, share = "", logsShare = "", onEvent = () => {}, note = console.error } = {}) {
    const args = ["run", "--bundle", bundle];
    if (gui) args.push("--gui");
    if (share) args.push("--share", share);
    if (logsShare) args.push("--logs-share", logsShare);
    this.#child = start(args, "pipe");
    this.#child.stdin.on("error", () => {}); // the tool has ended; `end` says how
    /** @type {Promise<void>} Resolves once the machine runs; rejects if it never does. */
    this.running = new Promise((resolve, reject) => (this.#started = { resolve, reject }));
    this.running.catch(() => {});
    /** @type {Promise<End>} How the run ended, once the process has. */
    this.end = ended(this.#child, [
      eachLine(this.#child.stdout, (line) => {
        const event = JSON.parse(line);
        this.#take(event);
        onEvent(event); // what is not known here is passed on, and else ignored
      }),
      eachLine(this.#child.stderr, note),
    ]).then((result) => this.#finish(result));
  }

  type = (/** @type {string} */ text, delayMs = 60) => this.#ask({ type: "text", text, delayMs });
  press = (/** @type {string} */ key, delayMs = 60) => this.#ask({ type: "key", key, delayMs });
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

  /**
   * Resolves to what `look` returns once that is no null; rejects when the run has ended before.
   * @template T @param {() => T | null} look @returns {Promise<T>}
   */
  async until(look, seconds = 0.25) {
    for (;;) {
      const value = look();
      if (value !== null) return value;
      if (this.#isOver) throw this.#error ?? new Refused("ended", "the run has ended");
      await this.#endWithin(seconds);
    }
  }

  /** @param {number | undefined} seconds */
  async #endWithin(seconds) {
    if (seconds === undefined) return this.end;
    let timer;
    await Promise.race([this.end, new Promise((resolve) => (timer = setTimeout(resolve, seconds * 1000)))]);
    clearTimeout(timer);
  }

  /** @param {Command} command @returns {Promise<void>} */
  #ask(command) {
    const answered = this.#turn.then(
      () =>
        /** @type {Promise<void>} */ (new Promise((resolve, reject) => {
          if (this.#isOver) return reject(new Refused("ended", "the guest has stopped"));
          this.#answer = { resolve, reject };
          this.#send(command);
        })),
    );
    this.#turn = answered.catch(() => {});
    return answered;
  }

  /** @param {Command} command */
  #send(command) {
    if (!this.#isOver) this.#child.stdin.write(JSON.stringify(command) + "\n");
  }

  /** @param {NodeJS.Signals} name */
  #signal(name) {
    if (!this.#isOver) this.#child.kill(name);
  }

  /** @param {Event} event */
  #take(event) {
    if (event.type === "ready" && event.proto !== PROTO) {
      this.#error = new Refused("proto", `the tool speaks protocol ${event.proto}`);
      this.#signal("SIGTERM");
    } else if (event.type === "state" && event.state === "running") this.#started.resolve();
    else if (event.type === "state" && event.state === "stopped") this.#stopped = event;
    else if (event.type === "guest-power" || event.type === "input-done") this.#settle(null);
    else if (event.type === "error") {
      const refused = new Refused(event.code, event.message);
      if (REFUSALS.includes(event.code)) this.#settle(refused);
      else this.#error = refused;
    }
  }

  /** @param {Refused | null} refused */
  #settle(refused) {
    const answer = this.#answer;
    this.#answer = null;
    if (refused) answer?.reject(refused);
    else answer?.resolve();
  }

  /** @param {number | string} result @returns {End} */
  #finish(result) {
    this.#isOver = true;
    this.#settle(new Refused("ended", "the guest stopped before the answer"));
    this.#started.reject(this.#error ?? new Refused("ended", `the run ended with ${result}`));
    const { crashed = this.#error !== null, reason = null } = this.#stopped ?? {};
    return { status: result, crashed, reason, error: this.#error };
  }
}

if (process.argv[1] && import.meta.url === pathToFileURL(process.argv[1]).href) {
  const guest = new Guest(process.argv[2], { onEvent: (event) => console.log(JSON.stringify(event)) });
  await guest.running.catch(() => {});
  const end = await guest.stop();
  console.log(end);
  process.exitCode = end.status === 0 ? 0 : 1;
}
