#include "ptykitpeer.h"

#include <cerrno>
#include <chrono>
#include <climits>
#include <cstdlib>
#include <fcntl.h>
#include <poll.h>
#include <termios.h>
#include <unistd.h>

namespace {

constexpr int IdleWaitMs = 5;
// Only without a wake-up pipe: how often the server looks whether the pty changed.
constexpr int FallbackPollMs = 10;
constexpr int ReadChunkSize = 4096;

void makeRaw(int fd)
{
    termios mode{};
    if (tcgetattr(fd, &mode) != 0)
        return;
    cfmakeraw(&mode);
    tcsetattr(fd, TCSANOW, &mode);
}

} // namespace

PtyKitPeer::PtyKitPeer(quint16 vendorId, quint16 productId) : listing(std::make_shared<Listing>())
{
    listing->vendorId = vendorId;
    listing->productId = productId;
    clock.start();
    int fds[2];
    if (::pipe2(fds, O_NONBLOCK | O_CLOEXEC) == 0) {
        wakeRead = fds[0];
        wakeWrite = fds[1];
    }
}

PtyKitPeer::~PtyKitPeer()
{
    {
        std::lock_guard<std::mutex> lock(mutex);
        stopping = true;
    }
    wakeServer();
    if (worker.joinable())
        worker.join();
    std::lock_guard<std::mutex> lock(mutex);
    closePty();
    for (int fd : {wakeRead, wakeWrite})
        if (fd >= 0)
            ::close(fd);
}

bool PtyKitPeer::open()
{
    std::lock_guard<std::mutex> lock(mutex);
    if (masterFd < 0 && !openPty())
        return false;
    if (!worker.joinable())
        worker = std::thread(&PtyKitPeer::serve, this);
    return true;
}

QString PtyKitPeer::slavePath() const
{
    std::lock_guard<std::mutex> lock(mutex);
    return slave;
}

PortEnumerator PtyKitPeer::enumerator()
{
    std::shared_ptr<Listing> shared = listing;
    return [shared]() {
        QList<PortCandidate> ports;
        std::lock_guard<std::mutex> lock(shared->mutex);
        if (shared->path.isEmpty())
            return ports;
        PortCandidate port;
        port.systemLocation = shared->path;
        port.hasIdentifiers = true;
        port.vendorIdentifier = shared->vendorId;
        port.productIdentifier = shared->productId;
        ports.append(port);
        return ports;
    };
}

void PtyKitPeer::setHandler(Handler newHandler)
{
    std::lock_guard<std::mutex> lock(mutex);
    handler = std::move(newHandler);
}

void PtyKitPeer::setReading(bool on)
{
    {
        std::lock_guard<std::mutex> lock(mutex);
        reading = on;
        applyStall();
    }
    wakeServer();
}

bool PtyKitPeer::isReading() const
{
    std::lock_guard<std::mutex> lock(mutex);
    return reading;
}

void PtyKitPeer::setPacing(bool on)
{
    std::lock_guard<std::mutex> lock(mutex);
    pacing = on;
}

void PtyKitPeer::unplug()
{
    {
        std::lock_guard<std::mutex> lock(mutex);
        closePty();
    }
    wakeServer();
}

bool PtyKitPeer::plug()
{
    bool ok = false;
    {
        std::lock_guard<std::mutex> lock(mutex);
        ok = masterFd >= 0 || openPty();
        if (ok && !worker.joinable() && !stopping)
            worker = std::thread(&PtyKitPeer::serve, this);
    }
    wakeServer();
    return ok;
}

bool PtyKitPeer::isPlugged() const
{
    std::lock_guard<std::mutex> lock(mutex);
    return masterFd >= 0;
}

QList<PtyKitPeer::Received> PtyKitPeer::received() const
{
    std::lock_guard<std::mutex> lock(mutex);
    return chunks;
}

QByteArray PtyKitPeer::receivedBytes() const
{
    std::lock_guard<std::mutex> lock(mutex);
    QByteArray all;
    for (const Received &chunk : chunks)
        all.append(chunk.bytes);
    return all;
}

void PtyKitPeer::clearReceived()
{
    std::lock_guard<std::mutex> lock(mutex);
    chunks.clear();
    receivedCount = 0;
}

bool PtyKitPeer::waitForBytes(int n, int timeoutMs) const
{
    std::unique_lock<std::mutex> lock(mutex);
    return changed.wait_for(lock, std::chrono::milliseconds(timeoutMs),
                            [&] { return receivedCount >= n; });
}

bool PtyKitPeer::openPty()
{
    const int master = posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    if (master < 0)
        return false;
    char name[PATH_MAX] = {};
    if (grantpt(master) != 0 || unlockpt(master) != 0 ||
        ptsname_r(master, name, sizeof name) != 0) {
        ::close(master);
        return false;
    }
    makeRaw(master);
    // Without an open slave the master reports a hang-up at every poll, and a
    // program closing its port would hang the line up; the peer keeps one open.
    const int held = ::open(name, O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    if (held < 0) {
        ::close(master);
        return false;
    }
    makeRaw(held);

    masterFd = master;
    slaveFd = held;
    slave = QString::fromLocal8Bit(name);
    ++generation;
    applyStall();
    std::lock_guard<std::mutex> listed(listing->mutex);
    listing->path = slave;
    return true;
}

void PtyKitPeer::closePty()
{
    {
        std::lock_guard<std::mutex> listed(listing->mutex);
        listing->path.clear();
    }
    if (slaveFd >= 0)
        ::close(slaveFd);
    if (masterFd >= 0)
        ::close(masterFd);
    slaveFd = -1;
    masterFd = -1;
    slave.clear();
    ++generation;
}

void PtyKitPeer::applyStall()
{
    // A stopped tty has no room to write into, so the program's write neither
    // completes nor reports writability until the line is started again. Merely
    // not reading would take kilobytes of the program's data to fill the buffer.
    if (slaveFd >= 0)
        tcflow(slaveFd, reading ? TCOON : TCOOFF);
}

void PtyKitPeer::wakeServer()
{
    changed.notify_all();
    if (wakeWrite >= 0) {
        const char byte = 0;
        // A full pipe already holds a wake-up.
        [[maybe_unused]] const ssize_t n = ::write(wakeWrite, &byte, 1);
    }
}

// Sleeps until the program writes or the peer changes: an idle kit costs nothing.
void PtyKitPeer::serve()
{
    for (;;) {
        int fd = -1;
        quint64 gen = 0;
        bool paced = false;
        {
            std::unique_lock<std::mutex> lock(mutex);
            changed.wait(lock, [&] { return stopping || (masterFd >= 0 && reading); });
            if (stopping)
                return;
            fd = masterFd;
            gen = generation;
            paced = pacing;
        }

        pollfd polled[2] = {{fd, POLLIN, 0}, {wakeRead, POLLIN, 0}};
        if (::poll(polled, wakeRead >= 0 ? 2 : 1, wakeRead >= 0 ? -1 : FallbackPollMs) <= 0)
            continue;
        if (polled[1].revents & POLLIN) {
            char drain[64];
            while (::read(wakeRead, drain, sizeof drain) > 0) {
            }
        }
        if (!(polled[0].revents & POLLIN)) {
            // A closed or broken master: wait for the peer to change rather than spin.
            if (polled[0].revents)
                pause(IdleWaitMs * 1000, gen);
            continue;
        }

        QByteArray chunk;
        Handler current;
        {
            std::lock_guard<std::mutex> lock(mutex);
            // The pty may have been closed (and its number reused) since the poll.
            if (stopping || gen != generation || !reading)
                continue;
            char buffer[ReadChunkSize];
            const ssize_t n = ::read(fd, buffer, sizeof buffer);
            if (n <= 0)
                continue;
            chunk = QByteArray(buffer, int(n));
        }
        if (paced && !pause(qint64(chunk.size()) * ByteTimeUs, gen))
            continue;
        {
            std::lock_guard<std::mutex> lock(mutex);
            chunks.append(Received{clock.elapsed(), chunk});
            receivedCount += chunk.size();
            current = handler;
        }
        changed.notify_all();

        if (!current)
            continue;
        const QList<ReplyPiece> pieces = current(chunk);
        for (const ReplyPiece &piece : pieces) {
            if (piece.delayMs > 0 && !pause(qint64(piece.delayMs) * 1000, gen))
                break;
            writeReply(piece.bytes, gen);
        }
    }
}

bool PtyKitPeer::pause(qint64 us, quint64 gen)
{
    std::unique_lock<std::mutex> lock(mutex);
    return !changed.wait_for(lock, std::chrono::microseconds(us),
                             [&] { return stopping || gen != generation; });
}

void PtyKitPeer::writeReply(const QByteArray &bytes, quint64 gen)
{
    bool paced = false;
    {
        std::lock_guard<std::mutex> lock(mutex);
        paced = pacing;
    }
    if (!paced) {
        writeSome(bytes.constData(), bytes.size(), gen);
        return;
    }
    for (int i = 0; i < bytes.size(); ++i) {
        if (i > 0 && !pause(ByteTimeUs, gen))
            return;
        if (!writeSome(bytes.constData() + i, 1, gen))
            return;
    }
}

bool PtyKitPeer::writeSome(const char *data, int size, quint64 gen)
{
    int done = 0;
    while (done < size) {
        ssize_t n = 0;
        int error = 0;
        {
            std::lock_guard<std::mutex> lock(mutex);
            if (stopping || gen != generation)
                return false;
            n = ::write(masterFd, data + done, size_t(size - done));
            error = errno;
        }
        if (n > 0) {
            done += int(n);
        } else if (n < 0 && error != EAGAIN && error != EINTR) {
            return false;
        } else if (!pause(1000, gen)) {
            return false;
        }
    }
    return true;
}
