export interface CallOptions {
  /** Milliseconds, after which the call fails with a timeout; Infinity for none. */
  limit?: number;
}

/** A call that failed. */
export class TravikError extends Error {
  readonly code: number;
  /** VirtualBox's HRESULT, 0 when it was not asked; Result has names. */
  readonly result: number;
  readonly codeName: string;
  readonly resultName: string;
  readonly operation: string;
  readonly text: string;
  /** The limit of the call passed. */
  readonly isTimeout: boolean;
  /** VirtualBox's server is gone: call Library.reconnect and find the machines again. */
  readonly isServerGone: boolean;
}

/** Owns a handle. The garbage collector gives it back at some time; release, or using, at once. */
export class Handle {
  readonly raw: number;
  /** Whether it names nothing: an empty drive has no medium. */
  readonly isNone: boolean;
  release(): void;
  [Symbol.dispose](): void;
}
