#include "app/ostrelrecovery.h"
#include "bench/benchtable.h"
#include "dialogs/helpmessagerebootmenu.h"

#include <QApplication>
#include <QGridLayout>
#include <QGroupBox>
#include <QLabel>
#include <QNetworkAccessManager>
#include <QPushButton>
#include <QVBoxLayout>
#include <QWindow>

#include <chrono>
#include <cstdio>
#include <memory>

// One start-up, measured from the moment the caller spawned this process (nanoseconds since the
// epoch, the second argument) to the first exposed window: "console" is the main window with its
// back end, "bare" an empty Qt Widgets window of the same size under the same style sheet, "help"
// the start-up help dialog alone (the console's first screen without the window built first),
// "parts" that window with one of each of the toolkit's parts the console shows first, "boxes"
// those parts with the window's four panels as empty titled boxes at their sizes. Prints
// milliseconds; under callgrind, the instructions of that span are counted. bench/run calls it many
// times in fresh processes. With a third argument it stays
// up until it is ended, for a benchmark that watches the screen.
int main(int argc, char *argv[])
{
    if (argc != 3 && argc != 4) {
        std::fprintf(stderr, "usage: %s console|bare|help|parts|boxes SPAWN-TIME-NS [stay]\n",
                     argv[0]);
        return 2;
    }
    const QByteArray mode = argv[1];
    const long long spawned = QByteArray(argv[2]).toLongLong();

    // Every program here starts as the console does; under callgrind, what it counts starts here.
    BenchTable::startCounting();
    const auto application = BenchTable::startAsTheConsole(argc, argv);

    std::unique_ptr<QWidget> window;
    if (mode == "console") {
        // A host, so that no help screen comes first; nothing listens there.
        window = std::make_unique<OstrelRecovery>(QStringLiteral("127.0.50.1"));
    } else if (mode == "help") {
        window = std::make_unique<HelpMessageRebootMenu>(nullptr);
    } else {
        window = std::make_unique<QWidget>();
        window->setFixedSize(1280, 800);
    }
    if (mode == "parts" || mode == "boxes") {
        // What the toolkit costs any window with text, a titled box, a button and a network
        // manager on its first showing, without the console: the font database read through
        // fontconfig for the first text, the image format plugins loaded for the first box frame
        // that Fusion draws from an image, and the network manager (on Qt 5.15 with its bearer
        // plugins).
        auto *box = new QGroupBox(QStringLiteral("Console"), window.get());
        auto *layout = new QVBoxLayout(box);
        layout->addWidget(new QLabel(QStringLiteral("USB0 : KINGSTON"), box));
        layout->addWidget(new QPushButton(QStringLiteral("INSTALL SW"), box));
        new QNetworkAccessManager(window.get());
        if (mode == "boxes") {
            // Fusion draws a box's frame by stretching an image over the box, which costs with
            // its area (on Qt 6 in the thread pool): the window's four panels are boxes at the
            // sizes its grid gives them, empty here but for the one above.
            auto *grid = new QGridLayout(window.get());
            box->setFixedHeight(266);
            grid->addWidget(new QGroupBox(QStringLiteral("Status"), window.get()), 0, 0);
            auto *commands = new QGroupBox(QStringLiteral("Commands"), window.get());
            commands->setFixedWidth(426);
            grid->addWidget(commands, 0, 1);
            grid->addWidget(box, 1, 0);
            auto *usb = new QGroupBox(QStringLiteral("USB Device"), window.get());
            usb->setFixedSize(426, 266);
            grid->addWidget(usb, 1, 1);
        }
    }
    window->show();
    // Not QTest::qWaitForWindowExposed: it sleeps 10 ms before it first looks. A widget window
    // is painted while its expose event is handled.
    while (!window->windowHandle()->isExposed())
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    BenchTable::stopCounting();
    const long long now = std::chrono::duration_cast<std::chrono::nanoseconds>(
                                  std::chrono::system_clock::now().time_since_epoch())
                                  .count();
    std::printf("%.2f\n", double(now - spawned) / 1e6);
    return argc == 4 ? application->exec() : 0;
}
