#pragma once

class QApplication;

// How the console starts, before and right after its application object exists. The tests that
// show a screen and the benchmarks start the same way, so that what they see is what runs.
namespace Startup {

// What the console asks of the toolkit before the application object exists.
void prepareToolkit();
// The compiled-in style sheet, for the whole application; an unreadable one leaves it empty.
void applyStyleSheet(QApplication &application);

} // namespace Startup
