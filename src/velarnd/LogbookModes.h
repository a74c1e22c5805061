#pragma once

namespace velarnd {

// The logbook mode has three numberings: the daemon's and the unit's (2
// private, 3 business, 4 the third mode), the navigation link's, where each
// mode is a bit so that the offered modes form a mask (8, 2, 4), and the
// server's (1, 2, 3).

// The navigation link's number; 16 for a mode the daemon doesn't know.
unsigned LogbookModeToNavigation(unsigned mode);
// The daemon's number of a mode the driver picked; 0 if it isn't 2, 4 or 8.
unsigned LogbookModeFromNavigation(unsigned navigationMode);
// The server's number; 0 for a mode it doesn't know.
unsigned LogbookModeToServer(unsigned mode);

// AModes: private and business always, the third mode when configured.
constexpr unsigned kNavigationModesOffered = 10;
constexpr unsigned kNavigationThirdMode = 4;

}  // namespace velarnd
