// Nothing: its target holds GoogleTest's headers, read once for all test programs.
