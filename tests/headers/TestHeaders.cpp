// Only there for its target, which precompiles headers for all test programs.
