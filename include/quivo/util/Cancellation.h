#pragma once

/// \file
/// How long operations and reads are told to stop. Whoever may want to stop implements a
/// `CancellationChecker`. An operation takes it as an argument; a read, which has no such argument,
/// takes it from the thread: a `CancellationScope` covers every read on its thread while it lives,
/// whatever chain of images the read goes through, so that a server stops one request and not
/// another.
///
/// Who asks: every tile step of a tile assembly (`TileImage`, `GenericTileLoader`, `CachedImage`),
/// `ArbitraryDownsampleFilter` and `ImageWriter::DownsampleOrProxy` before they read their source,
/// and images of files before every block that they decode or compute and while they wait for a
/// block that another thread decodes. Waiting for the lock of a `CachedImage` is not cancellable,
/// and below one the checker is asked with that lock held.

#include <quivo/core/Export.h>

namespace Quivo {

/// Tells a long operation to stop. The operation neither keeps nor deletes its checker. It asks on
/// its own thread; a checker that is told by another one synchronises that itself.
class QUIVO_API CancellationChecker {
public:
    /// Returns when the operation may go on.
    /// error: `CancellationException` when it is to stop.
    virtual void checkCancelled() = 0;
    virtual ~CancellationChecker();
};

/// What a cancelled operation unwinds with. Not a `std::exception`, so that handlers of errors do
/// not swallow it. Plain value.
class QUIVO_API CancellationException {
public:
    /// Says nothing but that.
    CancellationException() noexcept;
    virtual ~CancellationException();
};

/// While it lives, every read on this thread asks a checker, and what that throws leaves the read.
///
/// Scopes nest: the checkers of all of them are asked, the innermost first. Scopes end in the
/// reverse order in which they began, on the thread where they began: make them local variables.
/// The checker may be asked with locks of the library held, so it reads no image that is being
/// read. One thread at a time.
class QUIVO_API CancellationScope {
public:
    /// Begins. `checker` stays the caller's and outlives the scope.
    explicit CancellationScope(CancellationChecker& checker) noexcept;
    CancellationScope(CancellationScope const&) = delete;
    CancellationScope& operator=(CancellationScope const&) = delete;
    ~CancellationScope();

private:
    friend void checkCancelled();

    CancellationChecker& checker_;
    CancellationScope* enclosing_;
};

/// Asks the checkers of all scopes that this thread is in; returns at once where there is none. An
/// image of one's own calls it wherever a long read can stop. Any thread.
/// error: what a checker throws.
QUIVO_API void checkCancelled();

}  // namespace Quivo
