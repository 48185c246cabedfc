# Container and object-factory tests.
