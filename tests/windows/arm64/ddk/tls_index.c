// zig's linker asks every program for this, also a driver, which has no storage of its threads.
unsigned int _tls_index;
