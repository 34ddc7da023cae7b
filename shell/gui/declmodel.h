#pragma once
// The declarations of the current-year database as a model for the list
// beside the forms. Nothing is read whole: the model counts the rows, reads
// them in pages of a few hundred when the view asks for them, ordered by
// company name and tax code through their index, so the list shows at once
// whatever the size of the database.

#include <QAbstractTableModel>
#include <QHash>
#include <QVector>

class dbClass;

class DeclarationModel : public QAbstractTableModel {
    Q_OBJECT
public:
    enum Column { Label, CodFisc, Province, Exported, ColumnCount };
    static constexpr int PageSize = 256;

    explicit DeclarationModel(dbClass &db, QObject *parent = nullptr);

    // Reads the count again and forgets the pages read: the rows whose label
    // or tax code contains the text (any case); all of them with an empty text.
    void reload(const QString &filter);
    QString filter() const { return filter_; }

    // Row of a declaration among the rows shown, -1 when it is not among them.
    int rowOf(qint64 saID);
    qint64 idAt(int row) const;
    QString text(int row, int column) const;

    int rowCount(const QModelIndex &parent = {}) const override;
    int columnCount(const QModelIndex &parent = {}) const override;
    QVariant data(const QModelIndex &index, int role = Qt::DisplayRole) const override;
    QVariant headerData(int section, Qt::Orientation o, int role = Qt::DisplayRole) const override;

    // The statement that reads a page, for the plan check of the tests.
    QString pageSql() const;

Q_SIGNALS:
    // A page was read: the view can widen its columns to the new texts.
    void pageRead(int firstRow, int count);

private:
    struct Row {
        qint64 id = 0;
        QString text[ColumnCount];
    };
    const Row *row(int r) const;
    QString where() const;
    QVariantList whereParams() const;

    dbClass &db_;
    QString filter_;
    int count_ = 0;
    mutable QHash<int, QVector<Row>> pages_;
};
