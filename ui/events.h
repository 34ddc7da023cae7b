#pragma once
// What the working forms tell the window that hosts them about the
// declarations, without knowing it: one shared object with signals.

#include <QObject>

namespace ui {

class Events : public QObject {
    Q_OBJECT
public:
    static Events &instance();

Q_SIGNALS:
    void declarationSaved(qint64 saID);    // a declaration was added or changed
    void declarationRemoved(qint64 saID);
    void currentDeclarationChanged(qint64 saID); // the user chose another one in the list
    void declarationChosen(qint64 saID);   // a form moved to another declaration
    void openFormRequested(int number);    // a form asks for another form
    void sectionsChanged(qint64 saID);     // a scheda or module of a declaration was saved or removed
    void declarationsChanged();            // many at once: an import, an export, a takeover
    void printed(const QString &path);     // a print was written to this PDF file
};

} // namespace ui
