// Commands of the shell: those of the instrument work there, none reaches the host.
#include <string.h>
#include <sys/wait.h>

#include "probe.h"

int main(int count, char** arguments) {
    if (count > 1) {
        char command[600] = "";
        snprintf(command, sizeof command, "touch %s", arguments[1]);
        Say("touch %d", WEXITSTATUS(system(command)));
        snprintf(command, sizeof command, "echo 1 > %s", arguments[1]);
        Say("echo %d", WEXITSTATUS(system(command)) != 0);
    }
    Say("shell %d", system(nullptr));
    Say("sync %d", system("sync"));
    FILE* stream = popen("cat /proc/scsi/none", "r");
    const bool nothing = fgetc(stream) == EOF;
    Say("cat nothing %d %d", nothing, WEXITSTATUS(pclose(stream)) != 0);
    system("echo 72 > /sys/class/gpio/export");
    stream = popen("cat /sys/class/gpio/gpio72/value", "r");
    char line[16] = "";
    const char* text = fgets(line, sizeof line, stream);
    line[strcspn(line, "\n")] = '\0';
    Say("gpio %s %d", text != nullptr ? line : "none", pclose(stream));
    return 0;
}
