// Carries the headers that are compiled once for all rooms.
