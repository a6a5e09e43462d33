// The ground of the binding: the DLL, its structs, errors, outputs.
'use strict';

const koffi = require('koffi');
const path = require('path');
const { constants, prototypes } = require('./raw');

const functions = {};

// The DLL: of a path, of TRAVIK_DLL, or of the folder bin of the package that this file is part of.
function load(file) {
  if (functions.travik_open)
    return functions;
  const usual = path.join(__dirname, '..', '..', 'bin', 'TravikSDK-c.dll');
  const library = koffi.load(file || process.env.TRAVIK_DLL || usual);
  for (const [name, [result, parameters]] of Object.entries(prototypes))
    functions[name] = library.func(name, result, parameters);
  return functions;
}

/** A call that failed. */
class TravikError extends Error {
  constructor(told) {
    super([`${told.operation}: ${told.codeName} (${told.code})`, told.resultName, told.text].filter(Boolean).join(': '));
    this.name = 'TravikError';
    Object.assign(this, told);
  }

  /** The limit of the call passed. */
  get isTimeout() {
    return this.code === constants.Deadline;
  }

  /** VirtualBox's server is gone: call Library.reconnect and find the machines again. */
  get isServerGone() {
    return load().travik_isServerGone(this.result) !== 0;
  }
}

function errorOf(code, output) {
  const unknown = { code, result: 0, codeName: 'no memory', resultName: '', operation: '', text: '' };
  const told = output[0] ? koffi.decode(output[0], 'travik_error') : unknown;
  if (output[0])
    load().travik_freeError(output);
  return new TravikError(told);
}

// Places for what comes out: pass goes to the call, take reads it and gives the memory back.

function numberOut(take = Number) {
  const pass = [0];
  return { pass, take: () => take(pass[0]) };
}

const boolOut = () => numberOut((value) => value !== 0);
const bigOut = () => numberOut(BigInt);
const handleOut = (Kind) => numberOut((value) => new Kind(Number(value)));

const text = (pointer) => koffi.decode(pointer, 'char', -1);

function textOut() {
  const pass = [null];
  return {
    pass,
    take() {
      const value = pass[0] ? text(pass[0]) : '';
      load().travik_freeText(pass);
      return value;
    },
  };
}

function listOut(decode, free) {
  const pass = {};
  return {
    pass,
    take() {
      const { items, count } = pass;
      const value = count ? decode(items, count) : [];
      load()[free](pass);
      return value;
    },
  };
}

const textsOut = () => listOut((items, count) => koffi.decode(items, 'const char *', count), 'travik_freeTexts');
const machinesOut = (Kind) => listOut(
  (items, count) => Array.from(koffi.decode(items, 'uint64_t', count), (value) => new Kind(Number(value))),
  'travik_freeMachines');

const milliseconds = (limit) => limit === undefined ? 0
  : limit === Infinity ? constants.NO_DEADLINE : Math.min(Math.max(1, Math.ceil(limit)), constants.NO_DEADLINE - 1);

// Runs a function on a thread of Node's pool, so that the event loop goes on.
function run(name, parameters) {
  return new Promise((resolve, reject) => {
    load()[name].async(...parameters, (failure, code) => failure ? reject(failure) : resolve(code));
  });
}

// Calls a function that ends with a limit and an output for its error; hands out what comes, a list when it is several.
async function call(name, options, parameters) {
  const error = [null];
  const passed = parameters.map((each) => each && each.take ? each.pass : each);
  const code = await run(name, [...passed, milliseconds(options && options.limit), error]);
  if (code !== 0)
    throw errorOf(code, error);
  const taken = parameters.filter((each) => each && each.take).map((each) => each.take());
  return taken.length > 1 ? taken : taken[0];
}

const lost = new FinalizationRegistry(({ release, raw }) => functions[release](raw));

// Owns a handle. release gives it back; so do Symbol.dispose, and at some time the garbage collector.
class Handle {
  #raw;

  constructor(raw = 0) {
    this.#raw = raw;
    if (raw)
      lost.register(this, { release: this.constructor.release, raw }, this);
  }

  get raw() {
    return this.#raw;
  }

  /** Whether it names nothing: an empty drive has no medium. */
  get isNone() {
    return this.#raw === 0;
  }

  release() {
    lost.unregister(this);
    if (this.#raw)
      load()[this.constructor.release](this.#raw);
    this.#raw = 0;
  }
}
if (Symbol.dispose)
  Handle.prototype[Symbol.dispose] = Handle.prototype.release;

const raw = (object) => object.raw;

module.exports = {
  TravikError, Handle, bigOut, boolOut, call, constants, errorOf, handleOut, load, machinesOut, milliseconds, numberOut,
  raw, run, textOut, textsOut,
};
