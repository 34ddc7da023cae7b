#pragma once
// Message boxes of the program: titled with the application title, questions
// with Yes and No and No preselected.

#include "shell/messages.h"

#include <functional>

class QWidget;

class BoxMessages : public Messages {
public:
    explicit BoxMessages(std::function<QString()> title, QWidget *parent = nullptr)
        : title_(std::move(title)), parent_(parent) {}
    void setParent(QWidget *p) { parent_ = p; }

    void information(const QString &text, const QString &title = {}) override;
    void critical(const QString &text, const QString &title = {}) override;
    bool question(const QString &text, const QString &title = {}) override;
    void beep() override;

private:
    QWidget *owner() const;
    QString titleOr(const QString &t) const { return t.isEmpty() ? title_() : t; }
    std::function<QString()> title_;
    QWidget *parent_;
};
