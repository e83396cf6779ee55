/* Resource numbers of the interactive test's dialogs, shared by Dialogs.rc and
   the Win32 front end. The control numbers are those the module's dialog
   handlers use; the front end checks at run time that every control a handler
   expects is in the loaded dialog. */
#pragma once

#define IDD_KVO_MICROPHONE 102
#define IDI_KVO_MICROPHONE 103
#define IDD_KVO_TROUBLESHOOTER 104

#define IDC_KVO_RECORD 1000
#define IDC_KVO_PLAY 1001
#define IDC_KVO_PROGRESS 1002
#define IDC_KVO_FAIL 1012
#define IDC_KVO_PASS 1013
#define IDC_KVO_INPUT_LABEL 1014
#define IDC_KVO_OUTPUT_LABEL 1016
#define IDC_KVO_INPUT_LIST 1017
#define IDC_KVO_OUTPUT_LIST 1018
#define IDC_KVO_INSTRUCTIONS 1019
/* Only in the troubleshooting layout: its heading and its hint text. */
#define IDC_KVO_HEADING 1030
#define IDC_KVO_HINT 1031
