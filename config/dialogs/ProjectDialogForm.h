#pragma once

class QCheckBox;
class QComboBox;
class QDialog;
class QDialogButtonBox;
class QGroupBox;
class QLabel;
class QLineEdit;
class QPushButton;

// The project dialog's form: a fixed 529 x 317 layout. Members carry the widgets' object names.
struct ProjectDialogForm {
    QGroupBox* targetDevGroupBox = nullptr;
    QLabel* label = nullptr;
    QComboBox* manufactorCBox = nullptr;
    QLabel* label_2 = nullptr;
    QComboBox* deviceCBox = nullptr;
    QGroupBox* dbgToolGroupBox = nullptr;
    QComboBox* dbgToolCBox = nullptr;
    QGroupBox* targetGroupBox = nullptr;
    QComboBox* target = nullptr;
    QComboBox* m_connectRate = nullptr;
    QLabel* rateLabel = nullptr;
    QGroupBox* sampleRateGroupBox = nullptr;
    QLabel* sampleRateLabel = nullptr;
    QLineEdit* sampleInterval = nullptr;
    QLabel* labelUs = nullptr;
    QLineEdit* sampleFreq = nullptr;
    QLabel* labelUs_2 = nullptr;
    QGroupBox* elfFileGroupBox = nullptr;
    QLineEdit* fileEdit = nullptr;
    QPushButton* openPushButton = nullptr;
    // The user's own board, shown only for that debug tool.
    QGroupBox* boardGroupBox = nullptr;
    QLabel* openocdLabel = nullptr;
    QLineEdit* openocdEdit = nullptr;
    QPushButton* openocdPushButton = nullptr;
    QLabel* boardConfigLabel = nullptr;
    QLineEdit* boardConfigEdit = nullptr; // files separated by ";"
    QPushButton* boardConfigPushButton = nullptr;
    QCheckBox* attachOnlyCheckBox = nullptr;
    QLabel* initNoteLabel = nullptr;
    QDialogButtonBox* buttonBox = nullptr;

    // Makes the widgets on the dialog, with their texts, the debug tool and interface items, and a
    // tab order through every control.
    void Setup(QDialog* dialog);
    // Shows the board's group below the ELF file, the dialog grown to hold it, or hides it.
    void ShowBoard(QDialog* dialog, bool show);
};
