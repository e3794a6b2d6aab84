/* Stands in the place of an ARM program on a machine that starts none: runs it under the emulator, whatever arguments and
 * environment this program is started with. The emulator is called by a link that has the program's name, which is then the name
 * of the process. Native and static. EMULATOR, LIBRARIES and PROGRAM are paths that the build gives. */
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

int main(int argc, char** argv) {
    char* const fixed[] = {EMULATOR, "-L", LIBRARIES, "-0", argc > 0 ? argv[0] : PROGRAM, PROGRAM};
    const size_t count = sizeof fixed / sizeof *fixed;
    char** arguments = calloc(count + (size_t)argc + 1, sizeof *arguments);
    if (arguments == NULL) return 126;
    memcpy(arguments, fixed, sizeof fixed);
    for (int at = 1; at < argc; ++at)
        arguments[count + (size_t)at - 1] = argv[at];
    execv(EMULATOR, arguments);
    return 127;
}
