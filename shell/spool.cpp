#include "shell/spool.h"

#include <QDir>
#include <QTemporaryFile>

bool Spool::enabled = true;

Spool::Spool() = default;

Spool::~Spool() = default;

bool Spool::open(int places)
{
    close();
    if (!enabled)
        return false;
    auto f = std::make_unique<QTemporaryFile>(QDir::tempPath() + QStringLiteral("/qor-XXXXXX"));
    if (!f->open())
        return false;
    file_ = std::move(f);
    pieces_.assign(size_t(std::max(places, 0)), Piece{});
    end_ = 0;
    last_ = -1;
    return true;
}

void Spool::close()
{
    file_.reset();
    pieces_.clear();
}

bool Spool::append(int place, QByteArrayView bytes)
{
    if (!file_ || place < 0 || size_t(place) >= pieces_.size())
        return false;
    Piece &p = pieces_[size_t(place)];
    if (place != last_) {
        p = {end_, 0};
        last_ = place;
    }
    if (file_->write(bytes.data(), bytes.size()) != bytes.size())
        return false;
    p.size += bytes.size();
    end_ += bytes.size();
    return true;
}

bool Spool::read(size_t place, QByteArray &out)
{
    const Piece &p = pieces_[place];
    out.resize(p.size);
    return file_->flush() && file_->seek(p.at) && file_->read(out.data(), p.size) == p.size;
}

QString Spool::error() const
{
    return file_ ? file_->fileName() + QStringLiteral("\r\n") + file_->errorString() : QString();
}
