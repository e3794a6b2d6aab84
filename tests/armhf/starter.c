/* Stands in the place of an ARM program on a machine that starts none: runs it under the emulator, whatever arguments
 * and environment this program is started with. The emulator is called by a link that has the program's name, which
 * is then the name of the process. Native and static. EMULATOR, LIBRARIES and PROGRAM are paths that the build gives.
 */
#include <string.h>
#include <unistd.h>

int main(int argc, char** argv) {
    char* const fixed[] = {EMULATOR, "-L", LIBRARIES, "-0", argv[0], PROGRAM};
    const size_t count = sizeof fixed / sizeof *fixed;
    char* arguments[count + (size_t)argc + 1];
    memcpy(arguments, fixed, sizeof fixed);
    memcpy(arguments + count, argv + 1, (size_t)argc * sizeof *argv); /* with the NULL at their end */
    execv(EMULATOR, arguments);
    return 127;
}
