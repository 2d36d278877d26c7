// Linked against, never loaded. The plug-in finds dlopen and dlsym under the versions that libdl
// has had from the start and still has; linked against today's C library, they would have the
// versions under which it took them over in 2021, and no older system could load the plug-in.
void* dlopen(const char* file, int mode) { return (void)file, (void)mode, (void*)0; }
void* dlsym(void* library, const char* name) { return (void)library, (void)name, (void*)0; }
