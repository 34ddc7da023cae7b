#pragma once
// The one way the program speaks to the user. Core code receives a Messages
// object; the GUI supplies message boxes, the command line stderr, tests a
// scripted double that records every text and answers questions from a list.

#include <QList>
#include <QString>
#include <QStringList>

class Messages {
public:
    virtual ~Messages() = default;

    // Information box (OK). An empty title means the application title.
    virtual void information(const QString &text, const QString &title = {}) = 0;
    // Critical box (stop icon, OK).
    virtual void critical(const QString &text, const QString &title = {}) = 0;
    // Yes/No question, No preselected. True on Yes.
    virtual bool question(const QString &text, const QString &title = {}) = 0;
    // System beep.
    virtual void beep() = 0;

    // General error report for unexpected failures: beep, then a critical box
    // titled place + " (" + code in hex + ")" or "Errore codice: " + hex code,
    // with the description and, on the next line, the source. The details are
    // also appended to the log file when one is set.
    void errorReport(const QString &place, qint64 code, const QString &description,
                     const QString &source);
    // A database library's failure (known text or non-zero code) is shown as
    // what is wrong and what to do, with the library's text as the detail.
    static QString errorTitle(const QString &place, qint64 code);
    // The same for a failure known to come from the database, whatever its
    // text: always shown as what is wrong and what to do.
    void databaseErrorReport(const QString &place, qint64 code, const QString &description,
                             const QString &source);
    // General error reports shown by any Messages object since the start:
    // a command that met one does not end with success.
    static int errorReports();

    void setLogFile(const QString &path) { logFile_ = path; }
    QString logFile() const { return logFile_; }

private:
    void report(const QString &place, qint64 code, const QString &description, const QString &source,
                bool database);
    QString logFile_;
};

// Test double: records what would be shown and answers from a script.
class ScriptedMessages : public Messages {
public:
    enum class Kind { Information, Critical, Question };
    struct Shown {
        Kind kind;
        QString title;
        QString text;
    };

    void information(const QString &text, const QString &title = {}) override;
    void critical(const QString &text, const QString &title = {}) override;
    bool question(const QString &text, const QString &title = {}) override;
    void beep() override { ++beeps; }

    // Answers given to the next questions, in order; when exhausted, No.
    void answer(std::initializer_list<bool> a) { for (bool b : a) answers.append(b); }

    QStringList texts() const;
    QString last() const { return shown.isEmpty() ? QString() : shown.last().text; }
    void clear() { shown.clear(); answers.clear(); beeps = 0; }

    QList<Shown> shown;
    QList<bool> answers;
    int beeps = 0;
};

// Command-line implementation: texts go to stderr, questions get the default No
// unless the caller allowed "yes" answers.
class ConsoleMessages : public Messages {
public:
    explicit ConsoleMessages(bool assumeYes = false) : assumeYes_(assumeYes) {}
    void information(const QString &text, const QString &title = {}) override;
    void critical(const QString &text, const QString &title = {}) override;
    bool question(const QString &text, const QString &title = {}) override;
    void beep() override {}

private:
    bool assumeYes_;
};
