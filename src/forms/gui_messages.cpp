#include "forms/gui_messages.h"

#include <QApplication>
#include <QFileDialog>
#include <QMessageBox>

namespace tembrix {

QWidget* GuiMessages::Parent() const {
    if (m_parent != nullptr) {
        return m_parent();
    }
    return QApplication::activeWindow();
}

void GuiMessages::ShowMessage(const QString& text) {
    QMessageBox::information(Parent(), QApplication::applicationDisplayName(), text);
}

bool GuiMessages::AskYesNo(const QString& title, const QString& text) {
    return QMessageBox::question(Parent(), title, text, QMessageBox::Yes | QMessageBox::No,
                                 QMessageBox::No) == QMessageBox::Yes;
}

QString GuiMessages::ChooseOpenFile(const QString& title, const QString& folder, const QString& filter) {
    return QFileDialog::getOpenFileName(Parent(), title, folder, filter);
}

QStringList GuiMessages::ChooseOpenFiles(const QString& title, const QString& folder, const QString& filter) {
    return QFileDialog::getOpenFileNames(Parent(), title, folder, filter);
}

QString GuiMessages::ChooseSaveFile(const QString& title, const QString& folder, const QString& filter) {
    return QFileDialog::getSaveFileName(Parent(), title, folder, filter);
}

QString GuiMessages::ChooseFolder(const QString& title, const QString& folder) {
    QFileDialog dialog(Parent(), title, folder);
    dialog.setFileMode(QFileDialog::Directory);
    dialog.setOption(QFileDialog::ShowDirsOnly);
    dialog.setLabelText(QFileDialog::Accept, QStringLiteral("Выбрать каталог"));
    if (dialog.exec() != QDialog::Accepted || dialog.selectedFiles().isEmpty()) {
        return QString();
    }
    return dialog.selectedFiles().constFirst();
}

}  // namespace tembrix
