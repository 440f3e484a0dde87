/* Stands in for netsh.exe in the test's own Windows folder: notes its command line, and fails if it is told to. */
#include <stdio.h>
#include <windows.h>

int main(void)
{
    FILE *log = fopen("C:\\netsh.log", "a");
    if (!log) {
        return 1;
    }
    fprintf(log, "%s\n", GetCommandLineA());
    fclose(log);
    return GetFileAttributesA("C:\\netsh.fails") != INVALID_FILE_ATTRIBUTES;
}
