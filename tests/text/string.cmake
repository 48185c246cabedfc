# CStringCore and CString tests.
