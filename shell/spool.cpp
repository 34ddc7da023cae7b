#include "shell/spool.h"

#include <QDir>
#include <QTemporaryFile>
#include <limits>

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
    at_.assign(size_t(std::max(places, 0)), 0);
    sizes_.assign(size_t(std::max(places, 0)), 0);
    end_ = 0;
    last_ = -1;
    return true;
}

void Spool::close()
{
    file_.reset();
    at_.clear();
    sizes_.clear();
}

bool Spool::append(int place, QByteArrayView bytes)
{
    if (!file_ || place < 0 || size_t(place) >= sizes_.size())
        return false;
    const size_t p = size_t(place);
    if (place != last_) {
        at_[p] = end_;
        sizes_[p] = 0;
        last_ = place;
    }
    if (quint64(sizes_[p]) + quint64(bytes.size()) > std::numeric_limits<quint32>::max())
        return false;
    if (file_->write(bytes.data(), bytes.size()) != bytes.size())
        return false;
    sizes_[p] += quint32(bytes.size());
    end_ += bytes.size();
    return true;
}

bool Spool::read(size_t place, QByteArray &out)
{
    const qint64 size = sizes_[place];
    out.resize(size);
    return file_->flush() && file_->seek(at_[place]) && file_->read(out.data(), size) == size;
}

QString Spool::error() const
{
    return file_ ? file_->fileName() + QStringLiteral("\r\n") + file_->errorString() : QString();
}
