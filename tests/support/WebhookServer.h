#pragma once

#include <QByteArray>
#include <QHash>
#include <QHostAddress>
#include <QMap>
#include <QTcpServer>
#include <QTcpSocket>

#include <vector>

namespace hvx::test {

// A chat webhook on 127.0.0.1 for tests: records every request and answers it with a fixed
// status, or never answers at all (to run clients into their time-out). Serves from the
// test's event loop, so wait for requests with QTRY_*.
class WebhookServer {
  public:
    struct Request {
        QByteArray method;
        QByteArray target;
        // Header names in lower case.
        QMap<QByteArray, QByteArray> headers;
        QByteArray body;
    };

    // A status of 0 never answers.
    explicit WebhookServer(int status = 200) : status_(status) {
        server_.listen(QHostAddress::LocalHost);
        QObject::connect(&server_, &QTcpServer::newConnection, &server_, [this] {
            while (QTcpSocket* socket = server_.nextPendingConnection()) {
                QObject::connect(socket, &QTcpSocket::readyRead, socket,
                                 [this, socket] { read(socket); });
                QObject::connect(socket, &QTcpSocket::disconnected, socket, [this, socket] {
                    pending_.remove(socket);
                    socket->deleteLater();
                });
            }
        });
    }

    bool listening() const { return server_.isListening(); }
    quint16 port() const { return server_.serverPort(); }
    QString url(const QString& target = QStringLiteral("/hook")) const {
        return QStringLiteral("http://127.0.0.1:%1%2").arg(port()).arg(target);
    }
    const std::vector<Request>& requests() const { return requests_; }

  private:
    void read(QTcpSocket* socket) {
        QByteArray& buffer = pending_[socket];
        buffer += socket->readAll();
        const qsizetype headerEnd = buffer.indexOf("\r\n\r\n");
        if (headerEnd < 0) {
            return;
        }
        Request request;
        const QList<QByteArray> lines = buffer.left(headerEnd).split('\n');
        const QList<QByteArray> start = lines.value(0).trimmed().split(' ');
        request.method = start.value(0);
        request.target = start.value(1);
        for (qsizetype i = 1; i < lines.size(); ++i) {
            const qsizetype colon = lines[i].indexOf(':');
            if (colon > 0) {
                request.headers.insert(lines[i].left(colon).trimmed().toLower(),
                                       lines[i].mid(colon + 1).trimmed());
            }
        }
        const qsizetype length = request.headers.value("content-length", "0").toLongLong();
        if (buffer.size() < headerEnd + 4 + length) {
            return;
        }
        request.body = buffer.mid(headerEnd + 4, length);
        pending_.remove(socket);
        requests_.push_back(request);
        if (status_ != 0) {
            socket->write("HTTP/1.1 " + QByteArray::number(status_) +
                          " Test\r\nContent-Length: 0\r\nConnection: close\r\n\r\n");
            socket->disconnectFromHost();
        }
    }

    int status_;
    QTcpServer server_;
    QHash<QTcpSocket*, QByteArray> pending_;
    std::vector<Request> requests_;
};

}  // namespace hvx::test
