// The filter dialog's behaviour without a window: the tree of markets, groups, sectors,
// industries and watch lists with a mark on every item, its context menu, and the file behind
// it. The form mirrors the public controls onto its widgets and forwards the user's events to
// the methods named after them.
//
// The state also owns the filter expression the main window puts in front of the formula. The
// expression follows the file: every load rebuilds it, and OK writes the file and rebuilds it.
#pragma once

#include "filter/FilterFile.h"
#include "startup/UserPrompts.h"

#include <filesystem>
#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace marlindex {

struct FilterTreeItem {
    std::string key;       // category letter + number: M0, M1, ... W63
    std::string text;      // the display name
    int image = kUnmarked; // the mark
};

struct FilterTreeCategory {
    std::string key;  // "M", "G", "S", "I", "W"
    std::string text; // "Markets" ...
    bool expanded = false;
    std::vector<FilterTreeItem> items;
};

// TreeView1: the root node "R" with the five categories under it.
struct FilterTreeView {
    bool hasRoot = false;
    bool rootExpanded = false;
    std::vector<FilterTreeCategory> categories;
    std::string selectedKey; // "" when no node is selected
    std::string editingKey;  // in-place editing has begun on this node ("" for none)

    const FilterTreeCategory* FindCategory(std::string_view key) const;
    FilterTreeCategory* FindCategory(std::string_view key);
    // The item with this key, and its category; null when `key` names no item.
    FilterTreeItem* FindItem(std::string_view key, FilterTreeCategory** category = nullptr);
    const FilterTreeItem* FindItem(std::string_view key) const;
};

struct FilterMenuItem {
    std::string caption;
    bool enabled = true;
};

enum class FilterLoadResult {
    Loaded,       // the tree and the expression come from the file as it was
    Created,      // there was no file yet: the default file was written and loaded, unasked
    Recreated,    // the file was damaged; after the user's answer the default file was
                  // written (with or without backup) and loaded
    NotRecreated, // the default file could not be written; the user was told, the old file is
                  // untouched, the tree is empty and there is no filter
    NoDatabase,   // no database folder to read: the load ended quietly, no tree, no filter
};

class FilterTree {
public:
    // Told each time the filter expression is rebuilt, after a load and after OK; `chosen` is
    // set when the user chose the filter (OK), not when it was read again from the file.
    using ExpressionListener = std::function<void(const std::string& expression, bool chosen)>;

    static constexpr std::string_view kCaption = "Filter Settings";
    static constexpr std::string_view kRootKey = "R";
    static constexpr std::string_view kRootText = "Filter Selections";
    static constexpr std::string_view kHint = "Right click to add new items.";
    static constexpr std::string_view kImportToolTip =
        "Import AmiBroker Markets, Groups. Sectors & Industries and Watchlists.";
    static constexpr std::string_view kConfigurationErrorTitle = "Configuration File Error";

    explicit FilterTree(std::filesystem::path databaseFolder = {});

    // ---- shared with the main window ----
    const std::string& FilterExpression() const { return filterExpression_; }
    void SetExpressionListener(ExpressionListener listener) { listener_ = std::move(listener); }
    const std::filesystem::path& DatabaseFolder() const { return databaseFolder_; }
    // The dialog has been loaded (shown or not) and holds a tree read from the file.
    bool IsLoaded() const { return loaded_; }
    // The node the last menu command or right click refers to, "" for none.
    const std::string& CurrentNode() const { return currentNode_; }

    // ---- controls ----
    FilterTreeView TreeView1;
    FilterMenuItem mAdd{"Add"}, mDelete{"Delete"}, mUncheckAll{"Uncheck All"}, mEdit{"Edit"};

    // ---- the dialog's life ----
    // Reads the filter file into the tree and rebuilds the expression (the listener hears
    // it). A database without a filter file gets the default file, unasked (LoadNote says
    // so); a damaged file is put to the user, who chooses whether the old one is backed up
    // before the default file replaces it.
    FilterLoadResult Form_Load(UserPrompts& prompts);
    // What the last load did that the user did not see, for the status line: "" when it only
    // read the file. Taking it empties it.
    std::string TakeLoadNote() { return std::exchange(loadNote_, std::string()); }
    // The question a damaged filter file brings: the classic words, with the file, its folder
    // and what is wrong with it.
    static std::string ConfigurationErrorText(const std::filesystem::path& file,
                                              const std::string& problem);
    // Forgets the tree; the file and the expression stay.
    void Form_Unload();
    // Writes the tree to the file and rebuilds the expression; the listener is told to
    // regenerate the formula. False (and the user told) when the file could not be written:
    // the expression then stays as it was. Without a loaded tree there is nothing to write.
    bool SaveData(UserPrompts& prompts);
    // The analysis application switched databases: the current filter is saved where it came
    // from, then the lists of the new folder are loaded.
    FilterLoadResult ChangeDatabase(std::filesystem::path databaseFolder, UserPrompts& prompts);

    // ---- events ----
    // True when the dialog closes: the filter was saved. The tree stays loaded.
    bool btnOK_Click(UserPrompts& prompts);
    // The dialog is unloaded without writing.
    void btnCancel_Click() { Form_Unload(); }

    // A mouse button went up over the tree: 1 left, 2 right, 4 middle; `key` the node under
    // the pointer ("" for none). True when the context menu is to pop up (its states are set).
    bool TreeView1_MouseUp(int button, const std::string& key);
    // A node was clicked; after the left button this cycles an item's mark.
    void TreeView1_NodeClick(const std::string& key);
    void TreeView1_Expand(const std::string& key) { SetExpanded(key, true); }
    void TreeView1_Collapse(const std::string& key) { SetExpanded(key, false); }
    // In-place editing of TreeView1.editingKey ended. An empty text keeps the old name; a text
    // CheckFilterName refuses keeps it too, and the user is told what the text holds and why.
    void TreeView1_AfterLabelEdit(bool cancel, const std::string& newText, UserPrompts& prompts);

    // Import...: the lists of the database's quote store in place of the tree's, after the user
    // has seen what each category gains and loses; marks stay with the names that remain. The
    // file changes when OK is pressed. True when the tree took the lists.
    bool btnImport_Click(UserPrompts& prompts);

    void mAdd_Click();
    // Asks first; the item goes from the tree, and from the file when OK is pressed.
    void mDelete_Click(UserPrompts& prompts);
    void mEdit_Click();
    void mUncheckAll_Click();

private:
    void ClearTree();
    void BuildTree(const FilterFileContents& contents);
    FilterFileContents TreeContents() const;
    void Publish(bool chosen);
    void SetExpanded(const std::string& key, bool expanded);
    // The category a node belongs to: the node itself or its parent; null for the root.
    FilterTreeCategory* CategoryOf(const std::string& key);

    std::filesystem::path databaseFolder_;
    std::string filterExpression_;
    ExpressionListener listener_;
    bool loaded_ = false;
    std::string currentNode_;
    std::string loadNote_;
    int mouseButton_ = 0; // the last button released over the tree: 1 left, 2 any other
};

} // namespace marlindex
