// The protocol of parlen-mac-vm, for editors and type checkers. scripts/generate-types makes this file
// from the schemas; do not edit it. It describes what this version writes: a reader ignores types,
// members and codes that it does not know.

/** The first line of create and run. */
export type ReadyEvent = {
  type: "ready";
  proto: 1;
};

/** The progress of an installation, from 0 to 1. */
export type ProgressEvent = {
  type: "progress";
  fraction: number;
};

/** The installation or the machine is being started; the machine runs. */
export type StateEvent = {
  type: "state";
  state: "starting" | "running";
};

/** How a run ended. */
export type StoppedEvent = {
  type: "state";
  state: "stopped";
  crashed: boolean;
  reason: string;
};

/** Answers pause and resume. */
export type GuestPowerEvent = {
  type: "guest-power";
  state: "paused" | "resumed";
};

/** Answers text and key: typed to its end. */
export type InputDoneEvent = {
  type: "input-done";
  input: "text" | "key";
};

/** The user pressed a button of the guest's window, or its close button. */
export type WindowActionEvent = {
  type: "window-action";
  action: "later" | "done";
};

/** The bundle is complete. */
export type CreatedEvent = {
  type: "created";
  bundle: string;
};

/** The copy is complete. */
export type ClonedEvent = {
  type: "cloned";
  from: string;
  to: string;
  macAddress: string;
  machineIdentifier: "kept" | "regenerated";
};

export type StatusEvent = StatusReport;

/** The only line of the test hook window-size-check. */
export type WindowSizeEvent = {
  type: "window-size";
  content: {
    x: number;
    y: number;
    width: number;
    height: number;
  };
  frame: {
    x: number;
    y: number;
    width: number;
    height: number;
  };
};

/** What has failed: a code for programs, a message for people. */
export type ErrorEvent = {
  type: "error";
  code: "bad-usage" | "bundle-exists" | "bundle-missing" | "ipsw-missing" | "ipsw-unreadable" | "ipsw-unsupported" | "create-failed" | "clone-failed" | "status-failed" | "boot-failed" | "vm-limit" | "pause-refused" | "resume-refused" | "input-failed";
  message: string;
};

/** What this version writes. A reader must ignore types, members and codes that it does not know. */
export type Event = ReadyEvent | ProgressEvent | StateEvent | StoppedEvent | GuestPowerEvent | InputDoneEvent | WindowActionEvent | CreatedEvent | ClonedEvent | StatusEvent | WindowSizeEvent | ErrorEvent;

export type StopCommand = {
  type: "stop";
};

export type PauseCommand = {
  type: "pause";
};

export type ResumeCommand = {
  type: "resume";
};

export type TextCommand = {
  type: "text";
  /** Printable ASCII characters, tabs and line feeds. */
  text: string;
  /** Milliseconds between two keys. */
  delayMs?: number;
};

export type KeyCommand = {
  type: "key";
  key: string;
  /** Milliseconds between two keys. */
  delayMs?: number;
};

export type WindowCommand = {
  type: "window";
  show: boolean;
  title?: string;
  detail?: string;
};

/** What a parent should send. The tool is more forgiving: it ignores members that it does not know. */
export type Command = StopCommand | PauseCommand | ResumeCommand | TextCommand | KeyCommand | WindowCommand;

/** The four members of vm.json are all there, or none of them. */
export type StatusReport = {
  auxiliaryStorage: boolean;
  bundle: string;
  cpuCount?: number;
  disk: boolean;
  diskBytes?: number;
  diskGb?: number;
  exists: boolean;
  guestConfig: boolean;
  hardwareModel: boolean;
  macAddress?: string;
  machineIdentifier: boolean;
  memoryBytes?: number;
  supported: boolean;
  type: "status";
};

/** A guest's settings. The parent may change them while the guest is at rest; members that are not listed are dropped when a copy is made. */
export type Settings = {
  /** The number of processors. */
  cpuCount: number;
  /** The size of Disk.img in GiB when it was made; a note that changes nothing. 0 if unknown. */
  diskGb: number;
  /** The address of the network card. A multicast address (whose first octet is odd) is none of a card. */
  macAddress: string;
  /** The size of the memory in bytes. */
  memoryBytes: number;
};

/** What a program branches on; the message is for people. */
export type ErrorCode = ErrorEvent["code"];
