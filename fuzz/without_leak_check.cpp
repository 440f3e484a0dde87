// Linked into the targets that read JSON. Qt 5.15 does not free the value of a key that comes twice
// in an object if that value is an object itself, which LeakSanitizer would report for ever.

extern "C" const char *__asan_default_options(); // NOLINT(bugprone-reserved-identifier)

extern "C" const char *__asan_default_options() // NOLINT(bugprone-reserved-identifier)
{
    return "detect_leaks=0";
}
