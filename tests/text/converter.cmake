# CStringConverter tests.
