#pragma once

#include <string>

namespace tovix::keep {

/// A run of this program that goes on after the one that started it: without a window, without the starter's
/// descriptors and folder. [control], on the program's main thread.

/// What the started program had to say until it let go, or ended.
struct BackgroundStart {
    std::string output;
    std::string errors;
    /// The exit status of a program that has ended; 0 for one that goes on.
    int status = 0;
};

/// Starts this program with these arguments and waits until it lets go or ends. Hides a console that nobody shares.
/// Throws a KeepRefusal (processRefused) where it cannot be started.
BackgroundStart startInBackground(const std::wstring& arguments);

/// In a program that was started so: lets its starter go on. What is written later is lost.
void letStarterGo();

} // namespace tovix::keep
