import { LibraryOperations, MachineState } from './made';
import { CallOptions } from './core';

export * from './made';
export { CallOptions, TravikError } from './core';

export interface OpenOptions {
  /** The log's file; standard output without. */
  logPath?: string;
  /** Milliseconds, of calls that give none. */
  limit?: number;
  /** VirtualBox's objects are made on first need. */
  lazy?: boolean;
  /** Where TravikSDK-c.dll lies; else TRAVIK_DLL, else the package's bin. */
  dll?: string;
}

/** The library, open from open to close. One at a time in a process. */
export class Library extends LibraryOperations {
  static open(options?: OpenOptions): Promise<Library>;
  /** Waits for a call that runs; those that wait for their turn fail. */
  close(): Promise<void>;
  [Symbol.asyncDispose](): Promise<void>;
}

/** What a watched machine tells. After 'resync' ask for the state anew; 'ended' is the last one. */
export interface Notice {
  kind: 'state' | 'runtimeError' | 'resync' | 'ended';
  state: MachineState;
  fatal: boolean;
  code: number;
  result: number;
  id: string;
  text: string;
}

declare module './made' {
  interface Progress {
    /** Waits until the task is complete, and fails as it did. */
    finish(options?: CallOptions): Promise<void>;
  }
  interface Machine {
    /** Locks the machine, waiting while another lock is just being given back, changes settings and unlocks. */
    withLock<T>(lockType: LockType, change: (machine: Machine) => Promise<T>,
                options?: CallOptions & { wait?: number }): Promise<T>;
  }
  interface Console {
    /** The notices of the machine, until it ends. Leaving the loop ends the watch. */
    watch(options?: CallOptions & { poll?: number }): AsyncGenerator<Notice>;
  }
}
