// Makes the library there before its parts are.
