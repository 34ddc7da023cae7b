#include "ui/splitrow.h"

namespace ui {

SplitRow::SplitRow(QLayout *first, QLayout *second, Stretch stretch, int spacing) : stretch_(stretch)
{
    setContentsMargins(0, 0, 0, 0);
    setSpacing(qMax(4, spacing));
    for (QLayout *l : {first, second}) {
        addChildLayout(l);
        parts_ << l;
    }
}

SplitRow::~SplitRow()
{
    qDeleteAll(parts_);
}

QLayoutItem *SplitRow::takeAt(int i)
{
    return i >= 0 && i < parts_.size() ? parts_.takeAt(i) : nullptr;
}

bool SplitRow::alone() const
{
    return parts_.size() < 2 || parts_[1]->isEmpty();
}

int SplitRow::height(int i, int w) const
{
    const QLayoutItem *p = parts_[i];
    return p->hasHeightForWidth() ? p->heightForWidth(w) : p->sizeHint().height();
}

bool SplitRow::sideBySide(int width) const
{
    return alone() || hint(0).width() + spacing() + hint(1).width() <= width;
}

int SplitRow::widthOfFirst(int width) const
{
    return stretch_ == FirstStretches ? width - spacing() - hint(1).width() : hint(0).width();
}

QSize SplitRow::sizeHint() const
{
    if (alone())
        return hint(0);
    const QSize a = hint(0), b = hint(1);
    return {a.width() + spacing() + b.width(), qMax(a.height(), b.height())};
}

QSize SplitRow::minimumSize() const
{
    // Narrowest when one group is under the other; the height then comes
    // from heightForWidth, so a holder sized by its minimum does not keep
    // the room of both groups stacked while they stand side by side.
    QSize m(0, 0);
    for (int i = 0; i < (alone() ? 1 : 2); ++i)
        m = m.expandedTo(parts_[i]->minimumSize());
    return m;
}

int SplitRow::heightForWidth(int w) const
{
    if (alone())
        return height(0, w);
    if (!sideBySide(w))
        return height(0, w) + spacing() + height(1, w);
    const int a = widthOfFirst(w);
    return qMax(height(0, a), height(1, w - a - spacing()));
}

void SplitRow::setGeometry(const QRect &r)
{
    QLayout::setGeometry(r);
    if (parts_.isEmpty())
        return;
    if (alone()) {
        parts_[0]->setGeometry(r);
    } else if (sideBySide(r.width())) {
        const int a = widthOfFirst(r.width());
        parts_[0]->setGeometry(QRect(r.x(), r.y(), a, r.height()));
        parts_[1]->setGeometry(QRect(r.x() + a + spacing(), r.y(), r.width() - a - spacing(), r.height()));
    } else {
        const int h = qMin(r.height(), height(0, r.width()));
        parts_[0]->setGeometry(QRect(r.x(), r.y(), r.width(), h));
        parts_[1]->setGeometry(QRect(r.x(), r.y() + h + spacing(), r.width(), r.height() - h - spacing()));
    }
}

} // namespace ui
