/** @file secure_compat_c.c  The functions as a C program sees them. */
#include "qvisocppsecurecompat.h"

#include <string.h>

/** @return 0, or the number of the step that went wrong */
int main(void)
{
    char      text[16]   = {0};
    wchar_t   wide[8]    = {0};
    char*     context    = NULL;
    FILE*     missing    = stdin;
    time_t    time       = 0;
    size_t    size       = 0;
    errno_t   outOfRange = 34;
    struct tm local;

    if (OXAmemset_s(text, sizeof text, 'x', sizeof text) != 0 || text[15] != 'x') return 1;
    if (strcpy_s(text, sizeof text, "a,") != 0 || strcat_s(text, sizeof text, "b") != 0) return 2;
    if (strcmp(strtok_s(text, ",", &context), "a") != 0) return 3;
    if (sprintf_s(text, 4, "%d", 12345) != -1 || text[0] != '\0') return 4;
    if (wcscpy_s(wide, 3, L"abc") != outOfRange || wide[0] != 0) return 5;
    if (fopen_s(&missing, "/", "w") == 0 || missing != NULL) return 6;
    if (localtime_s(&local, &time) != 0) return 7;
    if (getenv_s(&size, NULL, 4, "PATH") != 22) return 8;
    if (OXAstrNonDigitCheck("12", 2) != FALSE) return 9;
    return 0;
}
