// Owns the precompiled header of the tests; it has no code of its own.
