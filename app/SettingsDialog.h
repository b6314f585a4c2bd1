#pragma once

#include "ui_SettingsDialog.h"

#include <QDialog>

// Edits the stored settings. Nothing is written until the dialog is accepted.
class SettingsDialog : public QDialog, public Ui::SettingsDialog {
    Q_OBJECT

public:
    explicit SettingsDialog(QWidget* parent = nullptr);

    void accept() override;

public slots:
    void browseWorkingDirectory();
    // Refuses the largest area together with the densest elevation data.
    void currentIndexChanged();

private:
    // In the order of OutputChoice::names().
    QList<QCheckBox*> outputCheckBoxes() const;
};
