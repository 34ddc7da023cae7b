#pragma once
// Two groups of a form side by side while both fit at their preferred
// widths; when they do not, the second goes under the first and each has the
// whole width (the form then grows downwards, never sideways). Side by side,
// the group that stretches takes the width the other leaves; an empty second
// group leaves the whole row to the first.

#include <QLayout>

namespace ui {

class SplitRow : public QLayout {
public:
    enum Stretch { FirstStretches, SecondStretches };

    // Takes both layouts; `spacing` between the groups, either way.
    SplitRow(QLayout *first, QLayout *second, Stretch stretch, int spacing);
    ~SplitRow() override;

    // Whether the groups stand side by side at `width`.
    bool sideBySide(int width) const;

    void addItem(QLayoutItem *) override {} // the two groups only
    int count() const override { return int(parts_.size()); }
    QLayoutItem *itemAt(int i) const override { return parts_.value(i); }
    QLayoutItem *takeAt(int i) override;
    Qt::Orientations expandingDirections() const override { return Qt::Horizontal | Qt::Vertical; }
    QSize sizeHint() const override;
    QSize minimumSize() const override;
    bool hasHeightForWidth() const override { return true; }
    int heightForWidth(int w) const override;
    void setGeometry(const QRect &r) override;

private:
    bool alone() const;
    QSize hint(int i) const { return parts_[i]->sizeHint(); }
    int height(int i, int w) const;
    int widthOfFirst(int width) const;
    QList<QLayoutItem *> parts_;
    Stretch stretch_;
};

} // namespace ui
