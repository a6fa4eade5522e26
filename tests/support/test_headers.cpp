// No tests: others take the headers that are precompiled for this program.
