#pragma once
// The one way the core tells the user something or asks a question: message boxes, Yes/No questions and
// file or folder choices. The desktop program installs an implementation on QMessageBox/QFileDialog, the
// command-line front end one that prints to standard error and answers from its options, and tests one
// that records and answers from a script. Called on the main (user-interface) thread only; workers reach
// it through Synchronize.

#include <QString>
#include <QStringList>

namespace tembrix {

class UserMessages {
public:
    virtual ~UserMessages() = default;

    // A modal information box with the text.
    virtual void ShowMessage(const QString& text) = 0;
    // A Yes/No question; true for Yes.
    virtual bool AskYesNo(const QString& title, const QString& text) = 0;
    // One existing file; "" when cancelled. `filter` is in Qt's "Description (*.ext)" form.
    virtual QString ChooseOpenFile(const QString& title, const QString& folder, const QString& filter) = 0;
    // Several existing files; empty when cancelled.
    virtual QStringList ChooseOpenFiles(const QString& title, const QString& folder,
                                        const QString& filter) = 0;
    // A file name to write; "" when cancelled.
    virtual QString ChooseSaveFile(const QString& title, const QString& folder, const QString& filter) = 0;
    // A folder; "" when cancelled.
    virtual QString ChooseFolder(const QString& title, const QString& folder) = 0;
};

// Prints messages to standard error and answers every question with a fixed reply; chooses nothing.
class ConsoleMessages : public UserMessages {
public:
    explicit ConsoleMessages(bool answerYes = false) : m_answerYes(answerYes) {}
    void ShowMessage(const QString& text) override;
    bool AskYesNo(const QString& title, const QString& text) override;
    QString ChooseOpenFile(const QString&, const QString&, const QString&) override { return {}; }
    QStringList ChooseOpenFiles(const QString&, const QString&, const QString&) override { return {}; }
    QString ChooseSaveFile(const QString&, const QString&, const QString&) override { return {}; }
    QString ChooseFolder(const QString&, const QString&) override { return {}; }

private:
    bool m_answerYes;
};

// The implementation in use. Never null: a ConsoleMessages until SetMessages installs another.
UserMessages& Messages();

// Installs `messages` (not owned; must outlive its use) and returns the previous one. nullptr restores
// the console default.
UserMessages* SetMessages(UserMessages* messages);

}  // namespace tembrix
