#pragma once

namespace Quivo::tool {

/// What the program tells its caller in the end. A signal that ended the work is told as
/// `EndedBySignal` plus its number, as shells do.
enum Status {
    Success = 0,
    Failure = 1,    ///< the work failed, or `verify` and `compare` found something
    WrongCall = 2,  ///< nothing was tried
    Filled = 3,     ///< all was done, but parts of the input were damaged and filled
    EndedBySignal = 128
};

/// How a subcommand that returns has ended. Plain value.
struct Ending {
    Status status = Success;
};

}  // namespace Quivo::tool
