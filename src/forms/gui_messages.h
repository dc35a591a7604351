#pragma once
// The desktop program's user messages: QMessageBox for messages and Yes/No questions, QFileDialog for
// file and folder choices. Main thread only.

#include "util/user_messages.h"

class QWidget;

namespace tembrix {

class GuiMessages : public UserMessages {
public:
    // `parent` (may be null) is the window the boxes are centred on; it is looked up at each call.
    explicit GuiMessages(QWidget* (*parent)() = nullptr) : m_parent(parent) {}
    void ShowMessage(const QString& text) override;
    bool AskYesNo(const QString& title, const QString& text) override;
    QString ChooseOpenFile(const QString& title, const QString& folder, const QString& filter) override;
    QStringList ChooseOpenFiles(const QString& title, const QString& folder, const QString& filter) override;
    QString ChooseSaveFile(const QString& title, const QString& folder, const QString& filter) override;
    QString ChooseFolder(const QString& title, const QString& folder) override;

private:
    QWidget* Parent() const;
    QWidget* (*m_parent)();
};

}  // namespace tembrix
