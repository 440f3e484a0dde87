; The installer, made by scripts/package-windows.sh: for one user or for the machine, with an entry in the
; start menu, an uninstaller, and a firewall rule for private networks that can be declined.
;
;   /S                       silent
;   /AllUsers, /CurrentUser
;   /NoFirewall              without the rule, which needs an administrator: only /AllUsers sets it
;   /D=FOLDER                the last one, without quotes
;
; Exit statuses beside those of every such installer (0 done, 1 cancelled, 2 failed):
!define STATUS_RUNNING 3 ; nothing was changed
!define STATUS_NO_RULE 4 ; installed, but without the firewall rule that was asked for
!define STATUS_NO_ADMINISTRATOR 5 ; nothing was changed

Unicode true
Target amd64-unicode
SetCompressor /SOLID lzma
ManifestDPIAware true
!define KEY "Software\Corvane\${NAME}"
!define UNINSTALL_KEY "Software\Microsoft\Windows\CurrentVersion\Uninstall\${NAME}"
!define MULTIUSER_EXECUTIONLEVEL Highest
!define MULTIUSER_MUI
!define MULTIUSER_NOUNINSTALL
!define MULTIUSER_INSTALLMODE_COMMANDLINE
!define MULTIUSER_INSTALLMODE_FUNCTION applyMode
!define MULTIUSER_INSTALLMODE_INSTDIR "${NAME}"
!define MULTIUSER_INSTALLMODE_INSTDIR_REGISTRY_KEY "${KEY}"
!define MULTIUSER_INSTALLMODE_INSTDIR_REGISTRY_VALUENAME "Folder"
!define MULTIUSER_INSTALLMODE_DEFAULT_REGISTRY_KEY "${KEY}"
!define MULTIUSER_INSTALLMODE_DEFAULT_REGISTRY_VALUENAME "Folder"
!define MULTIUSER_USE_PROGRAMFILES64
!include MultiUser.nsh
!include MUI2.nsh
!include FileFunc.nsh
!include LogicLib.nsh
!include Sections.nsh

Name "${NAME}"
OutFile "${OUTPUT}"
BrandingText "${NAME} ${VERSION}"
VIProductVersion "${VERSION}.0"
VIFileVersion "${VERSION}.0"
VIAddVersionKey ProductName "${NAME}"
VIAddVersionKey ProductVersion "${VERSION}"
VIAddVersionKey CompanyName "Corvane"
VIAddVersionKey FileDescription "Installer of ${NAME}"
VIAddVersionKey FileVersion "${VERSION}"
VIAddVersionKey LegalCopyright "Copyright 2026 Corvane"

Var commandLineFolder
Var firewallFlags ; of the section while it stands back

!define MUI_ICON "${ICON}"
!define MUI_UNICON "${ICON}"
!define MUI_ABORTWARNING
!define MUI_FINISHPAGE_RUN
!define MUI_FINISHPAGE_RUN_FUNCTION startProgram
!insertmacro MULTIUSER_PAGE_INSTALLMODE
!insertmacro MUI_PAGE_COMPONENTS
!insertmacro MUI_PAGE_DIRECTORY
!insertmacro MUI_PAGE_INSTFILES
!insertmacro MUI_PAGE_FINISH
!insertmacro MUI_UNPAGE_CONFIRM
!insertmacro MUI_UNPAGE_INSTFILES
!insertmacro MUI_LANGUAGE English

; Waits for the user to close the program in the folder $1. Windows lets nobody write into one that runs.
!macro WAIT_FOR_PROGRAM PREFIX
Function ${PREFIX}waitForProgram
    ${Do}
        ${IfNot} ${FileExists} "$1\${NAME}.exe"
            Return
        ${EndIf}
        ClearErrors
        FileOpen $0 "$1\${NAME}.exe" a
        ${IfNot} ${Errors}
            FileClose $0
            Return
        ${EndIf}
    ${LoopWhile} ${Cmd} `MessageBox MB_RETRYCANCEL|MB_ICONEXCLAMATION \
        "${NAME} is running, or may not be changed:$\r$\n$1$\r$\n$\r$\nClose it, for other users of this \
        computer too, and try again." /SD IDCANCEL IDRETRY`
    SetErrorLevel ${STATUS_RUNNING}
    Abort "${NAME} is running. Nothing was changed."
FunctionEnd
!macroend
!insertmacro WAIT_FOR_PROGRAM ""
!insertmacro WAIT_FOR_PROGRAM "un."

; Takes away the version that is there, with those of its files that this one does not have.
Function removeOldVersion
    ReadRegStr $1 SHCTX "${KEY}" "Folder"
    ${If} $1 == ""
    ${OrIfNot} ${FileExists} "$1\uninstall.exe"
        Return
    ${EndIf}
    Call waitForProgram
    DetailPrint "Removing the installed version"
    ClearErrors
    ExecWait '"$1\uninstall.exe" /S _?=$1' $0
    ${If} ${Errors}
    ${OrIf} $0 <> 0
        Call fail
    ${EndIf}
    ; It could not remove itself, because with that switch it ran out of its own file.
    Delete "$1\uninstall.exe"
    RMDir "$1"
FunctionEnd

Function fail
    MessageBox MB_ICONSTOP "${NAME} could not be installed completely. See the details." /SD IDOK
    SetErrorLevel 2
    Abort "${NAME} could not be installed completely."
FunctionEnd

Section "${NAME}" SectionProgram
    SectionIn RO
    StrCpy $1 $INSTDIR
    Call waitForProgram
    Call removeOldVersion
    ClearErrors
    SetOutPath "$INSTDIR"
    GetFullPathName $INSTDIR "$INSTDIR" ; without short names, for the uninstaller to compare
    File /r "${FOLDER}\*.*"
    WriteUninstaller "$INSTDIR\uninstall.exe"
    ${IfNot} ${FileExists} "$INSTDIR\uninstall.exe"
        Call fail ; without an entry that nothing could follow
    ${EndIf}
    CreateShortcut "$SMPROGRAMS\${NAME}.lnk" "$INSTDIR\${NAME}.exe"
    WriteRegStr SHCTX "${KEY}" "Folder" "$INSTDIR"
    WriteRegStr SHCTX "${UNINSTALL_KEY}" "DisplayName" "${NAME}"
    WriteRegStr SHCTX "${UNINSTALL_KEY}" "DisplayVersion" "${VERSION}"
    WriteRegStr SHCTX "${UNINSTALL_KEY}" "DisplayIcon" "$INSTDIR\${NAME}.exe"
    WriteRegStr SHCTX "${UNINSTALL_KEY}" "Publisher" "Corvane"
    WriteRegStr SHCTX "${UNINSTALL_KEY}" "InstallLocation" "$INSTDIR"
    WriteRegStr SHCTX "${UNINSTALL_KEY}" "UninstallString" '"$INSTDIR\uninstall.exe"'
    WriteRegStr SHCTX "${UNINSTALL_KEY}" "QuietUninstallString" '"$INSTDIR\uninstall.exe" /S'
    WriteRegDWORD SHCTX "${UNINSTALL_KEY}" "NoModify" 1
    WriteRegDWORD SHCTX "${UNINSTALL_KEY}" "NoRepair" 1
    SectionGetSize ${SectionProgram} $0
    WriteRegDWORD SHCTX "${UNINSTALL_KEY}" "EstimatedSize" $0
    ${If} ${Errors}
        Call fail
    ${EndIf}
SectionEnd

Section "Firewall rule" SectionFirewall
    nsExec::ExecToLog '"$SYSDIR\netsh.exe" advfirewall firewall add rule name="${NAME}" dir=in action=allow \
        protocol=udp profile=private,domain remoteip=localsubnet program="$INSTDIR\${NAME}.exe"'
    Pop $0
    ${If} $0 == 0
        WriteRegDWORD SHCTX "${KEY}" "Firewall" 1
    ${Else}
        MessageBox MB_ICONEXCLAMATION "${NAME} is installed, but Windows did not take the firewall rule." /SD IDOK
        SetErrorLevel ${STATUS_NO_RULE}
    ${EndIf}
SectionEnd

!insertmacro MUI_FUNCTION_DESCRIPTION_BEGIN
    !insertmacro MUI_DESCRIPTION_TEXT ${SectionProgram} "The program, its libraries and its documents."
    !insertmacro MUI_DESCRIPTION_TEXT ${SectionFirewall} \
        "Lets the answers of devices in: UDP from the local subnet, on private and domain networks. \
        Only for an installation for everybody."
!insertmacro MUI_FUNCTION_DESCRIPTION_END

; Called whenever it is decided for whom to install.
Function applyMode
    ${If} $commandLineFolder != ""
        StrCpy $INSTDIR $commandLineFolder
    ${EndIf}
    ; Only an administrator may set a rule; for one user Windows asks when the program first listens.
    ${If} $MultiUser.InstallMode == "AllUsers"
        ${If} ${SectionIsReadOnly} ${SectionFirewall}
            SectionSetFlags ${SectionFirewall} $firewallFlags
        ${EndIf}
    ${ElseIfNot} ${SectionIsReadOnly} ${SectionFirewall}
        SectionGetFlags ${SectionFirewall} $firewallFlags
        SectionSetFlags ${SectionFirewall} ${SF_RO}
    ${EndIf}
FunctionEnd

; An installer that an administrator runs must not hand its rights to the program: the shell starts it.
Function startProgram
    Exec '"$WINDIR\explorer.exe" "$INSTDIR\${NAME}.exe"'
FunctionEnd

Function .onInit
    StrCpy $commandLineFolder $INSTDIR
    ${GetParameters} $0
    ClearErrors
    ${GetOptions} $0 "/NoFirewall" $1
    ${IfNot} ${Errors}
        !insertmacro UnselectSection ${SectionFirewall}
    ${EndIf}
    ; A folder that cannot be is left out of all that the installer is told; it would take the usual one.
    System::Call "kernel32::GetCommandLineW() w .r1"
    ClearErrors
    ${GetOptions} $1 "/D=" $2
    ${IfNot} ${Errors}
    ${AndIf} $commandLineFolder == ""
        MessageBox MB_ICONSTOP "${NAME} cannot be installed into this folder:$\r$\n$2" /SD IDOK
        SetErrorLevel 2
        Quit
    ${EndIf}
    UserInfo::GetAccountType
    Pop $1
    ClearErrors
    ${GetOptions} $0 "/AllUsers" $2
    ${IfNot} ${Errors}
    ${AndIf} $1 != "Admin"
        MessageBox MB_ICONSTOP "Only an administrator can install ${NAME} for everybody." /SD IDOK
        SetErrorLevel ${STATUS_NO_ADMINISTRATOR}
        Quit
    ${EndIf}
    !insertmacro MULTIUSER_INIT
FunctionEnd

Function un.onInit
    ; There can be one installation for the machine and one for the user: the folder tells which is meant.
    GetFullPathName $INSTDIR "$INSTDIR"
    SetShellVarContext current
    ReadRegStr $0 HKCU "${KEY}" "Folder"
    ${If} $0 == $INSTDIR
        Return
    ${EndIf}
    SetShellVarContext all
    UserInfo::GetAccountType
    Pop $0
    ${If} $0 != "Admin"
        MessageBox MB_ICONSTOP "Only an administrator can remove ${NAME} for everybody." /SD IDOK
        SetErrorLevel ${STATUS_NO_ADMINISTRATOR}
        Quit
    ${EndIf}
FunctionEnd

Section Uninstall
    StrCpy $1 $INSTDIR
    Call un.waitForProgram
    SetOutPath "$TEMP" ; the folder that a program is in cannot be removed
    ClearErrors
    ; Only what was installed: somebody may keep reports beside it.
    !include "${UNINSTALL_FILES}"
    ${If} ${Errors}
        MessageBox MB_ICONSTOP "Some files could not be removed. See the details, and try again." /SD IDOK
        SetErrorLevel 2
        Abort "Some files could not be removed."
    ${EndIf}
    !include "${UNINSTALL_FOLDERS}"
    ReadRegDWORD $0 SHCTX "${KEY}" "Firewall"
    ${If} $0 == 1
        nsExec::ExecToLog '"$SYSDIR\netsh.exe" advfirewall firewall delete rule name="${NAME}" \
            program="$INSTDIR\${NAME}.exe"'
        Pop $0
    ${EndIf}
    Delete "$SMPROGRAMS\${NAME}.lnk"
    DeleteRegKey SHCTX "${UNINSTALL_KEY}"
    DeleteRegKey SHCTX "${KEY}"
    DeleteRegKey /ifempty SHCTX "Software\Corvane"
    Delete "$INSTDIR\uninstall.exe"
    RMDir "$INSTDIR"
SectionEnd
