#pragma once

class QCommandLineOption;

namespace CommandLine {

// The console's only option, "--hostName HOST": the instrument to reach over HTTP.
QCommandLineOption hostNameOption();

} // namespace CommandLine
