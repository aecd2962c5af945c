#include "portenumerator.h"

#include "serialcontroller.h"

#include <QElapsedTimer>
#include <QFile>
#include <QSerialPortInfo>
#include <memory>
#include <mutex>
#include <sys/stat.h>

#ifdef Q_OS_LINUX
#include <sys/inotify.h>
#include <unistd.h>
#endif

namespace {

// udev usually describes a new device within a fraction of a second of its node
// appearing; this leaves room for a busy machine.
constexpr int SettleMs = 5000;

// Notices of entries coming and going in a few folders, read without waiting.
class FolderWatch
{
public:
    explicit FolderWatch(const QStringList &folders)
    {
        for (const QString &folder : folders)
            paths.append(QFile::encodeName(folder));
#ifdef Q_OS_LINUX
        fd = inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
#endif
        watchFolders();
    }
    ~FolderWatch()
    {
#ifdef Q_OS_LINUX
        if (fd >= 0)
            ::close(fd);
#endif
    }
    FolderWatch(const FolderWatch &) = delete;
    FolderWatch &operator=(const FolderWatch &) = delete;

    // False when no folder could be watched: every look must then scan.
    bool isWatching() const
    {
        return watching;
    }

    // Whether anything came or went since the last call; empties the queue of notices.
    bool takeChanges()
    {
        bool changed = false;
#ifdef Q_OS_LINUX
        alignas(inotify_event) char buffer[4096];
        while (::read(fd, buffer, sizeof buffer) > 0)
            changed = true;
#endif
        return changed;
    }

    // Watches the folders that exist now; one already watched keeps its watch.
    void watchFolders()
    {
#ifdef Q_OS_LINUX
        if (fd < 0)
            return;
        for (const QByteArray &path : qAsConst(paths))
            if (inotify_add_watch(fd, path.constData(),
                                  IN_CREATE | IN_DELETE | IN_MOVED_FROM | IN_MOVED_TO |
                                      IN_DELETE_SELF | IN_ONLYDIR) >= 0)
                watching = true;
#endif
    }

private:
    QByteArrayList paths;
    int fd = -1;
    bool watching = false;
};

} // namespace

QList<PortCandidate> systemPorts()
{
    static const PortEnumerator watched =
        scanOnChange(scanSystemPorts,
                     {QStringLiteral("/dev"), QStringLiteral("/dev/serial"),
                      QStringLiteral("/dev/serial/by-id")},
                     SettleMs);
    return watched();
}

QList<PortCandidate> scanSystemPorts()
{
    QList<PortCandidate> ports;
    const auto infos = QSerialPortInfo::availablePorts();
    for (const QSerialPortInfo &info : infos) {
        PortCandidate candidate;
        candidate.systemLocation = info.systemLocation();
        candidate.hasIdentifiers = info.hasVendorIdentifier() && info.hasProductIdentifier();
        candidate.vendorIdentifier = info.vendorIdentifier();
        candidate.productIdentifier = info.productIdentifier();
        ports.append(candidate);
    }
    return ports;
}

PortEnumerator scanOnChange(PortEnumerator scan, const QStringList &folders, int settleMs)
{
    struct State
    {
        explicit State(const QStringList &folders) : watch(folders) {}
        std::mutex mutex;
        FolderWatch watch;
        bool looked = false;
        QElapsedTimer sinceChange;
        QList<PortCandidate> ports;
    };
    auto state = std::make_shared<State>(folders);
    return [state, scan = std::move(scan), settleMs]() {
        std::lock_guard<std::mutex> lock(state->mutex);
        const bool changed = state->watch.takeChanges();
        if (!state->looked || changed) {
            state->looked = true;
            state->sinceChange.start();
            // A folder that has just appeared (udev's by-id) is watched from now on.
            state->watch.watchFolders();
        } else if (state->watch.isWatching() && state->sinceChange.elapsed() >= settleMs) {
            return state->ports;
        }
        state->ports = scan ? scan() : QList<PortCandidate>();
        return state->ports;
    };
}

PortEnumerator fixedPort(const QString &path)
{
    return [path]() {
        // Only the node is looked at: opening a real port to probe it would toggle its
        // control lines, which may reset the kit.
        struct stat info;
        if (::stat(QFile::encodeName(path).constData(), &info) != 0 || !S_ISCHR(info.st_mode))
            return QList<PortCandidate>();
        PortCandidate port;
        port.systemLocation = path;
        port.hasIdentifiers = true;
        port.vendorIdentifier = SerialController::KitVendorId;
        port.productIdentifier = SerialController::KitProductId;
        return QList<PortCandidate>{port};
    };
}
