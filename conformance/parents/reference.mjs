// Puts examples/parent.mjs through the conformance kit:  node reference.mjs <request>
import { existsSync, readFileSync } from "node:fs";

const request = JSON.parse(readFileSync(process.argv[2], "utf8"));
process.env.PARLEN_PROGRAM = request.tool; // parent.mjs reads it when it is imported
// In the tree, and where both are installed.
const places = ["../../examples/parent.mjs", "../../../doc/parlen-mac-vm/examples/parent.mjs"];
const parent = places.map((place) => new URL(place, import.meta.url)).find(existsSync);
const { Guest, Refused, once } = await import(parent);

const NOTES = {
  "parlen-mac-vm: the guest is paused: ": "held",
  "parlen-mac-vm: network attachment disconnected (": "network-lost",
};

function outcome({ error, reason }) {
  if (error?.code === "proto") return { outcome: "unknown-protocol" };
  if (reason?.startsWith("guest stopped")) return { outcome: "shut-down" };
  if (reason === "host requested stop") return { outcome: "switched-off" };
  return error ? { outcome: "failed", code: error.code } : { outcome: "killed" };
}

/** The command's answer. */
async function send(guest, command) {
  const commands = {
    text: () => guest.type(command.text, command.delayMs),
    key: () => guest.press(command.key, command.delayMs),
    pause: () => guest.pause(),
    resume: () => guest.resume(),
  };
  if (command.type === "window") {
    if (command.show) guest.show(command.title, command.detail);
    else guest.hide();
    return "sent";
  }
  return commands[command.type]().then(
    () => "done",
    (refused) => refused.code,
  );
}

async function run(args) {
  const noticed = [];
  const actions = [];
  const happened = {};
  const waits = Object.fromEntries(
    ["held", "network-lost", "window-action"].map((name) => [
      name,
      new Promise((resolve) => (happened[name] = resolve)),
    ]),
  );
  const guest = new Guest(args[args.indexOf("--bundle") + 1], {
    gui: args.includes("--gui"),
    onEvent: (event) => {
      if (event.type !== "window-action") return;
      actions.push(event.action);
      happened["window-action"]();
    },
    note: (line) => {
      for (const [start, name] of Object.entries(NOTES)) {
        if (!line.startsWith(start)) continue;
        noticed.push(name);
        happened[name]();
      }
    },
  });
  waits.running = guest.running.catch(() => {});
  waits.end = guest.end;
  const answers = [];
  for (const step of request.steps) {
    if (step.wait) await Promise.race([waits[step.wait], guest.end]);
    else answers.push(await send(guest, step.send));
  }
  const end = await guest.stop(request.patienceMs.map((ms) => ms / 1000));
  return { ...outcome(end), answers, noticed, actions };
}

async function other(args) {
  try {
    return { outcome: "done", last: await once(args) };
  } catch (error) {
    if (!(error instanceof Refused)) throw error;
    return error.code === "killed" ? { outcome: "killed" } : { outcome: "failed", code: error.code };
  }
}

const args = request.arguments;
console.log(JSON.stringify(await (args[0] === "run" ? run(args) : other(args))));
