#include "commands/Commands.h"
#include "options/HelpText.h"
#include "terminal/Interrupt.h"
#include "terminal/Memory.h"
#include "terminal/Status.h"

#include <quivo/chains/Text.h>
#include <quivo/core/Version.h>
#include <quivo/writer/Progress.h>

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <iostream>
#include <memory>
#include <new>
#include <stdexcept>
#include <string>
#include <string_view>
#include <system_error>

namespace Quivo::tool {

namespace {

constexpr char const* memoryMessage =
    "not enough memory: a smaller --box or --tile or a coarser --level needs less";

std::string getVersion() {
    return "quivo " + std::to_string(QUIVO_VERSION_MAJOR) + "." +
           std::to_string(QUIVO_VERSION_MINOR) + "." + std::to_string(QUIVO_VERSION_PATCH);
}

void report(std::string const& message) { std::cerr << "quivo: " << toLine(message) << '\n'; }

/// Makes sure that what was printed has arrived.
void flushOutput() {
    errno = 0;
    if (!std::cout.flush()) {
        int const error = errno ? errno : EIO;
        throw std::runtime_error("standard output: cannot be written: " +
                                 std::generic_category().message(error));
    }
}

int reportWrongCall(CLI::App const& app, CLI::ParseError const& error) {
    std::string command = "quivo";
    for (CLI::App const* subcommand : app.get_subcommands()) {
        command += " " + subcommand->get_name();
    }
    report(std::string(error.what()) + " (see " + command + " --help)");
    return WrongCall;
}

int run(int argc, char** argv) {
    CLI::App app("Reads, converts and pictures very large multi-resolution images.", "quivo");
    app.formatter(std::make_shared<HelpText>());
    app.set_version_flag("--version", getVersion());
    app.require_subcommand(0, 1);  // so that an unknown one is named in the error
    app.footer("Example: quivo info mandelbrot:100000x100000");
    Ending ending;
    addInfoCommand(app);
    addConvertCommand(app, ending);
    addMergeCommand(app, ending);
    addSplitCommand(app, ending);
    addRenderCommand(app, ending);
    addReadCommand(app, ending);
    addVerifyCommand(app, ending);
    addCompareCommand(app, ending);
    // Behind it stands no option, and a subcommand is none.
    if (argc > 1 && std::string_view(argv[1]) == "--") {
        argv[1] = argv[0];
        ++argv;
        --argc;
    }
    try {
        app.parse(argc, argv);
        if (app.get_subcommands().empty()) {
            throw CLI::RequiredError(
                "A subcommand (info, convert, merge, split, render, read, verify or compare)");
        }
    } catch (CLI::ParseError const& error) {
        bool const asksForHelp = error.get_exit_code() == Success;
        if (!asksForHelp) return reportWrongCall(app, error);
        app.exit(error);
    }
    flushOutput();
    return ending.status;
}

/// `run` with every way to fail turned into one line and an exit status.
int runAndReport(int argc, char** argv) {
    try {
        return run(argc, argv);
    } catch (CancellationException const&) {
        report("interrupted, no unfinished file is left");
        return EndedBySignal + Interrupt::getSignal();
    } catch (std::bad_alloc const&) {
        report(memoryMessage);
    } catch (std::length_error const&) {
        report(memoryMessage);
    } catch (std::exception const& error) {
        report(error.what());
    } catch (...) {
        report("an unknown error stopped the work");
    }
    return Failure;
}

}  // namespace

}  // namespace Quivo::tool

int main(int argc, char** argv) {
    // Where one of the standard three is closed, a file that is opened must not take its place.
    int opened = 0;
    while (opened >= 0 && opened <= STDERR_FILENO) opened = ::open("/dev/null", O_RDWR);
    if (opened >= 0) ::close(opened);
    // A reader that goes away and a limit on file sizes are failed writes, not sudden ends.
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN);
    Quivo::tool::keepFreedMemory();
    return Quivo::tool::runAndReport(argc, argv);
}
