#pragma once

#include <travik/scoped_handle.h>

#include <cstdint>

#include "output.h"

// Identifiers for programs, and words for people, for VirtualBox's numbers. A number without either is shown as it is.

/// {"state": "PoweredOff", "stateText": "powered off"}.
Json stateFacts(Travik::State state);
Json stateFacts(Travik::ImageState state);

/// "powered off".
std::string stateText(Travik::State state);

/// Identifiers of all states, and the state of one.
std::vector<std::string> stateIdentifiers();

/// "OnSharedFolderChanged".
Json eventIdentifier(Travik::EventType type);
/// "shared folder changed".
std::string eventText(Travik::EventType type);
