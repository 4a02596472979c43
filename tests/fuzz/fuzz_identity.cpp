#include "app/ostrelrecovery.h"
#include "model/ostrelidentity.h"

#include <QJsonDocument>

#include <cstdint>
#include <cstdlib>

// The identity document comes from the wire: whatever it holds, reading it gives two slots in
// the order it names, and a USB alias can only ever pick a folder right under the mount root.
namespace {

void require(bool condition)
{
    if (!condition)
        std::abort();
}

bool isPlainFolderName(const QString &name)
{
    return !name.isEmpty() && name != QLatin1String(".") && name != QLatin1String("..")
            && !name.contains(QLatin1Char('/')) && !name.contains(QChar(QChar::Null));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray bytes(reinterpret_cast<const char *>(data), int(size));
    const OstrelIdentity identity(QJsonDocument::fromJson(bytes));

    require(identity.slotList.size() == 2);
    const bool aFirst = identity.slotOrder == OstrelIdentity::AFirst;
    require(aFirst || identity.slotOrder == OstrelIdentity::BFirst);
    require(identity.slotList.at(0).name == QLatin1String(aFirst ? "A" : "B"));
    require(identity.slotList.at(1).name == QLatin1String(aFirst ? "B" : "A"));

    const QString folder = OstrelRecovery::screenshotFolder(identity, false);
    if (folder != UserDataRoot) {
        require(!identity.usbDevices.isEmpty());
        const QString alias = identity.usbDevices.first().alias;
        require(folder == UsbMountRoot + QLatin1Char('/') + alias);
        require(isPlainFolderName(alias));
    }
    return 0;
}
