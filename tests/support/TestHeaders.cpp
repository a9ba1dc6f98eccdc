// Precompiled headers need a source file to be built with.
