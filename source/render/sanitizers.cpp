// What the leak checker need not report, in builds that have one.

/// The font library's own caches live until the program ends.
extern "C" const char *__lsan_default_suppressions() { return "leak:libfontconfig"; }
extern "C" const char *__lsan_default_options() { return "print_suppressions=0"; }
