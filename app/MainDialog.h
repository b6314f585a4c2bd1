#pragma once

#include "ui_MainDialog.h"

#include <QDialog>
#include <QImage>
#include <QString>

// The program's only window. It owns the rectangle fields, the progress
// display and all state of a download run.
class MainDialog : public QDialog, public Ui::MainDialog
{
    Q_OBJECT

public:
    explicit MainDialog(QWidget* parent = nullptr);

    void addMessage(const QString& message);
    static double downloadAreaWidth(const QString& area);
    static double downloadAreaHeight(const QString& area);
    // Centres the rectangle on the point with the size of the area and makes
    // one arrow step move the rectangle by its own width or height.
    void setDownloadAreaWidth(const QString& area, double latitude, double longitude);
    bool isVerbose() const { return verbose; }

public slots:
    void slotClearLabel();
    void slotDoubleSpinBoxNorthValueChanged(double);
    void slotDoubleSpinBoxWestValueChanged(double);
    void slotSettings();

private:
    void recentreWithStoredArea();

    bool verbose = false;
    QString baseFileName;
    bool openStreetMapAborted = false;
    bool seamlessAborted = false;
    bool geocodeAborted = false;
    QString seamlessUrl;
    bool seamlessFinished = false;
    bool openStreetMapFinished = false;
    bool geocodeFinished = false;
    QImage elevationImage;
    QImage texturePreview;
};
