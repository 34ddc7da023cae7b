#pragma once
// Pieces of an output made in one order and wanted in another: each piece
// goes to a temporary file as it is made, with its place, and they are read
// back by place. Only where each piece lies is kept in memory.

#include <QByteArray>
#include <QtGlobal>
#include <QByteArrayView>
#include <QString>
#include <memory>
#include <vector>

class QTemporaryFile;

class Spool {
public:
    Spool();
    ~Spool();
    Spool(const Spool &) = delete;
    Spool &operator=(const Spool &) = delete;

    // A new temporary file for places pieces (0 first). False when none can
    // be made, or when spools are turned off (the tests compare the two ways).
    bool open(int places);
    bool isOpen() const { return file_ != nullptr; }
    void close();
    static bool enabled;

    // Appends bytes to the piece of place; the pieces are made one after the
    // other, each whole before the next begins.
    bool append(int place, QByteArrayView bytes);
    // The pieces in the order of their places, each to f(bytes); places with
    // no bytes are passed over. False on a read failure, or when f says so.
    template <typename F>
    bool each(F f)
    {
        QByteArray bytes;
        for (size_t p = 0; p < sizes_.size(); ++p) {
            if (sizes_[p] == 0)
                continue;
            if (!read(p, bytes) || !f(bytes))
                return false;
        }
        return true;
    }
    QString error() const;

private:
    bool read(size_t place, QByteArray &out);

    std::unique_ptr<QTemporaryFile> file_;
    // Where each piece lies: 12 bytes a place (an export spools a piece for
    // each of its declarations); a piece is at most 4 GiB.
    std::vector<qint64> at_;
    std::vector<quint32> sizes_;
    qint64 end_ = 0;
    int last_ = -1;
};
