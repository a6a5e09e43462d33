#ifndef TRAVIK_SCOPED_HANDLE_H
#define TRAVIK_SCOPED_HANDLE_H

// Optional comfort on top of vbox_instance.h, header only, C++17. Everything but Worker, EventLoop::wake and what only
// computes belongs on the one thread that calls the operations.

#include "errors.h"     // failures as exceptions
#include "events.h"     // an event loop
#include "names.h"      // enumerations, names, text in UTF-8
#include "operations.h" // every operation with owners and exceptions; the connection
#include "owners.h"     // owners that give handles back
#include "session.h"    // the locked session; start, stop, delete and list machines
#include "waits.h"      // deadlines, progress, the lock race
#include "worker.h"     // a thread for it all

#endif
