// The formula library dialog without a window: the tree of folders and formulas, the name and
// description boxes, the folder and formula commands, and what OK does in each of the three
// modes. The form frmOpenSave mirrors these members onto its widgets and forwards its events
// to the methods named after them.
#pragma once

#include "library/LibraryFile.h"
#include "startup/UserPrompts.h"

#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace marlindex {

inline constexpr const char* kModeSave = "SAVE";
inline constexpr const char* kModeSaveAs = "SAVEAS";
inline constexpr const char* kModeOpen = "OPEN";

inline constexpr const char* kRootKey = "R";
inline constexpr const char* kRootText = "Scans and Explorations";

// The longest formula or folder name, in characters. A name becomes a file name when the
// formulas are written for AmiBroker (<folder>/<name>.afl), and every file system here holds
// a file name of 255 bytes or UTF-16 units; the characters a new name may hold take one byte
// each, which leaves ample room for the extension and a number that tells two same names apart.
inline constexpr std::size_t kMaxNameLength = 100;

// Letters, digits, blank and # $ % & ' ( ) ! - / @ _ { } ~, not starting with a digit, at
// most kMaxNameLength characters: the names the Windows release accepts for formulas and
// folders, as long as a file name can be. The dot is not among them.
bool IsValidFileName(std::string_view name);
// The same rules in words, for the user, and why `name` breaks them ("" when it does not).
inline constexpr const char* kNameRules =
    "A name holds letters, digits, blanks and # $ % & ' ( ) ! - / @ _ { } ~, "
    "does not start with a digit and has at most 100 characters.";
std::string NameProblem(std::string_view name);
// Why a name is longer than kMaxNameLength characters ("" when it is not): the one rule a name
// read from a library must also keep, since an older release may have stored any length.
std::string NameLengthProblem(std::string_view name);

// The library record the main window's formula was opened from or last saved to. The folder
// and name let a save in place check that the record is still the same formula.
struct LibraryRecordRef {
    std::int32_t number = 0; // 0: the formula is not in the library
    std::string folder;
    std::string name;

    bool operator==(const LibraryRecordRef&) const = default;
};

// The main window as the library dialog reaches it.
class FormulaWindow {
public:
    virtual ~FormulaWindow() = default;

    virtual std::string ScanName() const = 0;
    virtual void SetScanName(std::string name) = 0;
    // The window's formula as a record: run options, formula text, condition code, filter
    // and rows. Number, folder, name and description are the library's to fill.
    virtual LibraryFormula CurrentFormula() = 0;
    // Brings the window back to the formula as it was saved, its name in the caption.
    virtual void RestoreFormula(const LibraryFormula& formula) = 0;
    virtual const LibraryRecordRef& LibraryRecord() const = 0;
    virtual void SetLibraryRecord(LibraryRecordRef record) = 0;
};

enum class TreeImage { Root, Folder, Formula };

struct TreeNode {
    std::string key; // "R" the root, id + "X" a folder, formula number + "Z" a formula
    std::string text;
    std::string parent; // "" for the root
    TreeImage image = TreeImage::Formula;
    bool expanded = false;
};

struct LibraryTree {
    std::vector<TreeNode> nodes; // parents before their children, siblings in library order
    std::string selected;        // the selected node's key, "" for none
    int revision = 0;            // changes whenever the nodes do
};

// The description box. Positions count characters, not bytes.
struct DescriptionBox {
    std::string text;
    std::size_t selStart = 0;
    std::size_t selLength = 0;
};

struct LibraryMenuItem {
    std::string caption;
    bool enabled = true;
};

// Every change to the tree (a folder added, renamed or deleted, a formula deleted) waits in
// the dialog until OK, which writes it with the formula it saves or before the one it opens;
// Cancel leaves the library file as it was.
class LibraryBrowser {
public:
    // `mode` is kModeSave, kModeSaveAs or kModeOpen. `window` and `prompts` must outlive the
    // browser.
    LibraryBrowser(std::filesystem::path libraryFile, std::string mode, FormulaWindow& window,
                   UserPrompts& prompts);

    // The form answers the questions with boxes of its own.
    void SetPrompts(UserPrompts& prompts) { prompts_ = &prompts; }

    // ---- controls ----
    std::string Caption;
    std::string btnOK = "&Open";
    std::string btnCancel = "&Cancel";
    std::string Text1; // the formula's name
    DescriptionBox RichTextBox1;
    LibraryTree TreeView1;
    // Set when a folder's name is to be edited in place: the form starts the edit and clears it.
    std::string EditingKey;
    LibraryMenuItem mAdd{"Create &Folder"}, mRename{"&Rename Folder"}, mDelete{"&Delete"};
    LibraryMenuItem mCopy{"&Copy"}, mPaste{"&Paste"};

    const std::string& Mode() const { return mode_; }
    const Library& Contents() const { return library_; }
    // OK did its work or Cancel was pressed: the form closes.
    bool Closed() const { return closed_; }
    bool Accepted() const { return accepted_; }
    // Changes to the tree that OK has still to write.
    bool HasPendingChanges() const { return pending_; }

    // ---- events ----
    // Reads the library (or starts the default one) and builds the tree. False when there is
    // nothing to show: the file is damaged and the user keeps it, or it cannot be read.
    bool Form_Load();
    void TreeView1_NodeClick(const std::string& key);
    void TreeView1_Expand(const std::string& key, bool expanded);
    // Only folders are renamed in place.
    bool TreeView1_BeforeLabelEdit(const std::string& key) const;
    // True when the new name is taken; false leaves the old one (and may restart the edit).
    bool TreeView1_AfterLabelEdit(const std::string& key, const std::string& text);
    void mAdd_Click();
    void mRename_Click();
    // Asks first; the folder or formula goes from the tree, and from the file on OK.
    void mDelete_Click();
    // The description's selected text, for the clipboard.
    std::string mCopy_Click() const;
    // Puts the clipboard text in place of the selection; the caret goes to the end.
    void mPaste_Click(std::string_view clipboard);
    void Text1_Change(std::string text) { Text1 = std::move(text); }
    void RichTextBox1_Change(std::string text);
    void RichTextBox1_SelChange(std::size_t start, std::size_t length);
    void btnOK_Click();
    void btnCancel_Click();

private:
    const TreeNode* Node(const std::string& key) const;
    // The folder a node stands for: itself, or a formula's own folder; null for the root.
    const LibraryFolder* FolderOfNode(const std::string& key) const;
    void BuildTree();
    void Select(const std::string& key);
    void UpdateMenus();
    // The node that takes the selection when `key` goes: the next sibling, else the one
    // before, else the parent.
    std::string Neighbour(const std::string& key) const;
    // Writes `updated` and keeps it; on failure says so and keeps the library as it was.
    bool Commit(Library updated, const std::string& title);
    bool SaveNewFile();
    void OpenSelected();
    // A file may give two folders one id; each folder needs its own tree key.
    void GiveFoldersUniqueIds();

    std::filesystem::path file_;
    std::string mode_;
    FormulaWindow* window_;
    UserPrompts* prompts_;
    Library library_;
    bool closed_ = false;
    bool accepted_ = false;
    bool pending_ = false;
};

} // namespace marlindex
