/* Runs a command as a user who is no administrator, and ends with its exit status. Wine's users all are. */
#define _WIN32_WINNT 0x0600
#include <wchar.h>
#include <windows.h>

int wmain(int argc, wchar_t **argv)
{
    BYTE administrators[SECURITY_MAX_SID_SIZE];
    DWORD size = sizeof administrators;
    SID_AND_ATTRIBUTES denied = {administrators, 0};
    HANDLE own, restricted;
    STARTUPINFOW startup = {sizeof startup};
    PROCESS_INFORMATION process;
    wchar_t command[2000] = L"";
    DWORD status;
    int i;

    for (i = 1; i < argc; ++i) {
        if (wcslen(command) + wcslen(argv[i]) + 4 > sizeof command / sizeof *command) {
            return 90;
        }
        wcscat(wcscat(wcscat(wcscat(command, i == 1 ? L"\"" : L""), argv[i]), i == 1 ? L"\"" : L""), L" ");
    }
    if (!CreateWellKnownSid(WinBuiltinAdministratorsSid, NULL, administrators, &size)
        || !OpenProcessToken(GetCurrentProcess(), TOKEN_ALL_ACCESS, &own)
        || !CreateRestrictedToken(own, 0, 1, &denied, 0, NULL, 0, NULL, &restricted)
        || !CreateProcessAsUserW(restricted, NULL, command, NULL, NULL, FALSE, 0, NULL, NULL, &startup, &process)) {
        return 91;
    }
    WaitForSingleObject(process.hProcess, INFINITE);
    return GetExitCodeProcess(process.hProcess, &status) ? (int)status : 92;
}
