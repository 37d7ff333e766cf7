// What the leak checker need not report, in builds that have one.

/// The font library's own caches live until the program ends, and so does what the sound library's
/// Ogg encoder held when the disk took no more.
extern "C" const char *__lsan_default_suppressions()
{
    return "leak:libfontconfig\nleak:libogg\nleak:libvorbis";
}
extern "C" const char *__lsan_default_options() { return "print_suppressions=0"; }
