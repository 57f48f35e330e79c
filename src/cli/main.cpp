// SPDX-License-Identifier: GPL-3.0-or-later
#include "cli/Program.h"

#include <fcntl.h>
#include <unistd.h>

namespace {

// A standard stream that was closed would lend its number to the next file that is opened, and what is printed would
// end up there. In its place stands a descriptor that refuses to be used.
void occupyStandardStreams()
{
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (fcntl(stream, F_GETFD) == -1)
            open("/dev/null", stream == STDIN_FILENO ? O_WRONLY : O_RDONLY);
    }
}

}  // namespace

int main(int argc, char** argv)
{
    occupyStandardStreams();
    return penmark::cli::runProgram(std::vector<std::string>(argv + (argc > 0 ? 1 : 0), argv + argc));
}
