# Memory manager tests.
