// Somebody has to be compiled for the headers to be.
