// Leaks that LeakSanitizer is not to report, in tests that are built with it; without it nothing calls this function.
// Keep the list short, and every line with its reason.

extern "C" const char *__lsan_default_suppressions();

extern "C" const char *__lsan_default_suppressions()
{
    return
        // The window's object leaves its waiter behind when it is not running: deliberate, one small object each time.
        "leak:STKDialog::STKDialog\n"
        // Qt's sound effects share an object that names the stream, and lose it when the sound server goes.
        "leak:libQt5Multimedia.so\n"
        // Qt's platform plug-ins and font configuration keep what they made until the process ends.
        "leak:libqoffscreen.so\n"
        "leak:libQt5XcbQpa.so\n"
        "leak:libfontconfig.so\n";
}
