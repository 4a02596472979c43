#include "app/ostrelrecovery.h"
#include "model/ostrelidentity.h"

#include <QJsonDocument>

#include <cstdint>
#include <cstdlib>

// The identity document comes from the wire: whatever it holds, reading it gives two slots in
// the order it names, and a USB alias can only ever pick a folder right under the mount root.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const auto require = [](bool condition) {
        if (!condition)
            std::abort();
    };
    const OstrelIdentity identity(
            QJsonDocument::fromJson(QByteArray(reinterpret_cast<const char *>(data), int(size))));
    const bool aFirst = identity.slotOrder == OstrelIdentity::AFirst;
    require(aFirst || identity.slotOrder == OstrelIdentity::BFirst);
    require(identity.slotList.size() == 2);
    require(identity.slotList.at(0).name == QLatin1String(aFirst ? "A" : "B"));
    require(identity.slotList.at(1).name == QLatin1String(aFirst ? "B" : "A"));

    // The first stick's alias, when it is a plain folder name; the user data root otherwise.
    const QString alias = identity.usbDevices.value(0).alias;
    const bool plain = !alias.isEmpty() && alias != QLatin1String(".")
            && !alias.contains(QLatin1String("..")) && !alias.contains(QLatin1Char('/'))
            && !alias.contains(QChar(QChar::Null));
    require(OstrelRecovery::screenshotFolder(identity, false)
            == (plain ? UsbMountRoot + QLatin1Char('/') + alias : UserDataRoot));
    return 0;
}
