// SPDX-License-Identifier: BSD-3-Clause
// Internal: the byte-level side of the Modbus module, in its I/O thread. Not installed.
#ifndef QZGUI_MODBUS_MODBUS_LINK_P_H
#define QZGUI_MODBUS_MODBUS_LINK_P_H

#include <QByteArray>
#include <QObject>
#include <QString>

#include <functional>
#include <memory>

namespace qz::modbus {

struct address_t;

/**
 * A connection to one Modbus device that sends request PDUs and hands back the replies that
 * answer them. It frames, matches and times every request itself, so that nothing reaches a
 * request but a reply from its unit to it: a reply too late for its request is dropped, never
 * taken as another's. Lives in, and is used from, one thread with an event loop.
 */
class modbus_link : public QObject {
public:
    /// What became of a request.
    struct outcome_t {
        enum kind_e {
            answered,  ///< @c pdu holds the reply, function code first
            no_answer, ///< no fitting reply within the time-out, after every repeat
            bad_crc,   ///< as no_answer, but a reply with a wrong checksum came
            unfit,     ///< a reply came that cannot answer the request; @c detail says why
            lost       ///< the connection failed; @c detail says how
        } kind = answered;
        QByteArray pdu;
        QString detail;
    };
    using done_fn = std::function<void(const outcome_t&)>;

    /// @return a link for @p address, over TCP or a serial line, not yet open
    static std::unique_ptr<modbus_link> make(const address_t& address);
    ~modbus_link() override;

    /// Begins to connect; @p done gets an empty text once open, or why it could not open.
    virtual void open(std::function<void(const QString& error)> done) = 0;

    /// @return whether the connection is open (and did not fail since)
    bool is_open() const { return _failure.isEmpty(); }

    /**
     * Takes in, without waiting, what the connection already knows and the event loop has not
     * handled yet: a device that closed it, say. A connection kept open between operations may
     * have been closed by the device meanwhile; is_open() says so only after this.
     */
    virtual void check_open() {}

    /// @return why the connection failed or closed, or is not open yet; empty while it is open
    QString failure() const { return _failure; }

    /**
     * Sends @p pdu; @p done gets its outcome once, later, in this thread, unless the request is
     * cancelled or the link destroyed first. Waits up to @p timeout_ms for each of the (1 +
     * @p repeats) tries.
     * @return a handle for cancel(), never 0
     */
    virtual int send(const QByteArray& pdu, int timeout_ms, int repeats, done_fn done) = 0;

    /**
     * Forgets the request @p handle; its reply, should one still come, is dropped. On a serial
     * line the next request waits until the forgotten one's time-out would have ended, since the
     * device may still answer until then.
     */
    virtual void cancel(int handle) = 0;

protected:
    modbus_link() = default;
    /// @return a new handle for a request
    int _next_handle() { return ++_last_handle; }

    QString _failure = QStringLiteral("not connected");

private:
    int _last_handle = 0;
};

} // namespace qz::modbus

#endif
