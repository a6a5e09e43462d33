// Drive an installed VirtualBox through TravikSDK-c.dll. See README.md and index.d.ts.
'use strict';

const koffi = require('koffi');
const core = require('./core');
const made = require('./made');

/** The library, open from open to close. One at a time in a process. */
class Library extends made.LibraryOperations {
  static async open({ logPath = null, limit, lazy = false, dll } = {}) {
    core.load(dll);
    const error = [null];
    const size = koffi.sizeof('travik_options');
    const options = { size, flags: lazy ? core.constants.OPEN_LAZY : 0, logPath, deadlineMs: core.milliseconds(limit), reserved: 0 };
    const code = await core.run('travik_open', [options, error]);
    if (code !== 0)
      throw core.errorOf(code, error);
    return new Library();
  }

  /** Waits for a call that runs; those that wait for their turn fail. */
  close() {
    return core.call('travik_close', { limit: Infinity }, []);
  }
}
if (Symbol.asyncDispose)
  Library.prototype[Symbol.asyncDispose] = Library.prototype.close;

made.Progress.prototype.finish = function finish(options) {
  return core.call('travik_finishProgress', options, [this.raw]);
};

/** Locks the machine, waiting while another lock is just being given back, changes settings and unlocks. */
made.Machine.prototype.withLock = async function withLock(lockType, change, options = {}) {
  const { wait = 10000 } = options;
  await core.call('travik_lockMachineInTime', options, [this.raw, lockType, wait]);
  const library = made.LibraryOperations.prototype;
  let machine;
  try {
    machine = await this.sessionMachine(options);
    return await change(machine);
  } finally {
    if (machine)
      machine.release();
    await library.unlock(options).catch(() => {}); // the machine's end has closed the session already
  }
};

const KINDS = ['', 'state', 'runtimeError', 'resync', 'ended']; // by NOTICE_...

/** The notices of the machine, until it ends. Leaving the loop ends the watch. */
made.Console.prototype.watch = async function* watch(options = {}) {
  const watcher = await core.call('travik_watch', options, [this.raw, null, null, core.numberOut()]);
  try {
    for (;;) {
      const notice = [null];
      const error = [null];
      // Short, because it keeps a thread of Node's pool.
      const failed = await core.run('travik_nextNotice', [watcher, options.poll || 200, notice, error]);
      if (failed !== 0)
        throw core.errorOf(failed, error);
      if (!notice[0])
        continue;
      const { kind, state, fatal, code, result, id, text } = koffi.decode(notice[0], 'travik_notice');
      core.load().travik_freeNotice(notice);
      yield { kind: KINDS[kind], state, fatal: fatal !== 0, code, result, id, text };
      if (kind === core.constants.NOTICE_ENDED)
        return;
    }
  } finally {
    core.load().travik_unwatch(watcher);
  }
};

module.exports = { ...made, Library, TravikError: core.TravikError };
