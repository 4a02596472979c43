#pragma once

// The child processes of this test, for waiting until every run a back end started has ended and
// its end has been taken in: the local back end's identify runs end after the operation's signals.
namespace ChildProcesses {

// Living and not yet reaped children of any thread of this process.
int count();

// Processes events until there have been no children for a moment; false on timeout.
bool settle(int timeoutMilliseconds = 20000);

} // namespace ChildProcesses
