/// @file
/// The character generator: titles, crawls, tickers, images and panels as a picture with alpha.
#pragma once

#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "quolsdk/LCGItems.h"
#include "quolsdk/LObject.h"

namespace quol {
class FairMutex;
class SceneRenderer;
class Sleeper;
} // namespace quol

/// A source of 1920x1080 pictures in planar 4:2:0 with alpha (colours premultiplied), 50 a second,
/// from its creation on. Items are drawn in the order they were added, the first at the bottom.
///
/// A picture leaves at every tick; it is drawn anew only when something has changed or moves, and
/// then only where it did. A picture that was handed on is never written to again.
///
/// Texts may hold tags, which show the clock, the date or a count: "time::HH:mm:ss",
/// "date::dd-MM-yyyy", "tUp::mm:ss::10:00:00", "tDown::mm:ss::01:30:00". A text item with tags is
/// drawn at every tick only where its text also holds a "%"; crawls and tickers always are.
///
/// Threads: any. Calls that read or change the scene wait for the picture in the making; files are
/// read before that and written behind it, while the pictures go on. For item fields see LCGItem.
class QUOLSDK_API LCharacter : public LObject {
public:
    /// Starts the thread. Throws std::system_error where there is none to be had.
    LCharacter();
    /// Ends the thread; items and groups go with it.
    ~LCharacter() override;

    /// Adds an item on top. Text, crawl, ticker and rectangle: a size of 0 or below is the
    /// picture's. Image and video: 0 or below is the image's own. An id that is there already is
    /// taken over by the new item; the old one stays on screen, out of reach but by index.
    LCGItem* addItem(const std::string& id, int x, int y, int w, int h, const LCGTextProps& props);
    LCGItem* addItem(const std::string& id, int x, int y, int w, int h,
                     const LCGCrawlProps& props); ///< @copydoc addItem
    LCGItem* addItem(const std::string& id, int x, int y, int w, int h,
                     const LCGTickerProps& props); ///< @copydoc addItem
    LCGItem* addItem(const std::string& id, int x, int y, int w, int h,
                     const LCGRectProps& props); ///< @copydoc addItem
    LCGItem* addItem(const std::string& id, int x, int y, int w, int h,
                     const LCGImageProps& props); ///< @copydoc addItem
    /// The same; null when the file cannot be played, and nothing is added.
    LCGItem* addItem(const std::string& id, int x, int y, int w, int h, const LCGVideoProps& props);

    /// Changes an item of the kind that fits the record; sizes are taken as given. Nothing happens
    /// for an unknown id or another kind. A crawl keeps its place, and its look until its text
    /// changes; a ticker keeps its line; a video keeps its file.
    void updateItem(const std::string& id, int x, int y, int w, int h, float alpha, bool show,
                    const LCGTextProps& props);
    void updateItem(const std::string& id, int x, int y, int w, int h, float alpha, bool show,
                    const LCGCrawlProps& props); ///< @copydoc updateItem
    void updateItem(const std::string& id, int x, int y, int w, int h, float alpha, bool show,
                    const LCGTickerProps& props); ///< @copydoc updateItem
    void updateItem(const std::string& id, int x, int y, int w, int h, float alpha, bool show,
                    const LCGRectProps& props); ///< @copydoc updateItem
    void updateItem(const std::string& id, int x, int y, int w, int h, float alpha, bool show,
                    const LCGImageProps& props); ///< @copydoc updateItem
    void updateItem(const std::string& id, int x, int y, int w, int h, float alpha, bool show,
                    const LCGVideoProps& props); ///< @copydoc updateItem

    /// Shows or hides an item, or a group. A hidden item goes back to its home position.
    void showItem(const std::string& id, bool show);
    /// Takes the first item of that id away.
    void remove(const std::string& id);

    /// Makes a group of these items and returns its name, "group1", "group2" and so on. Items leave
    /// the group they were in; unknown ids are passed over.
    std::string group(const std::vector<std::string>& ids);
    void unGroup(const std::string& name);     ///< ends a group; its items stay
    void deleteGroup(const std::string& name); ///< ends a group with its items

    int getItemCount();                                ///< items on the list
    LCGItem* getItemByIndex(int index);                ///< in drawing order; null out of range
    LCGItem* getItem(const std::string& id);           ///< null for an unknown id
    int getGroupCount();                               ///< groups
    LCGGroup* getGroupByIndex(int index);              ///< in name order; null out of range
    std::string getGroup(const std::string& id);       ///< name of an item's group; "" without one
    LCGGroup* getGroupObject(const std::string& name); ///< null for an unknown name
    int groupItemCount(const std::string& name);       ///< 0 for an unknown name
    LCGItem* getGroupItemByIndex(const std::string& name, int index); ///< null out of range

    /// Whether the latest picture had a visible item on its list. A mixer leaves out a layer that
    /// has none. Does not wait.
    bool hasVisibleItem() const { return anyVisible; }

    bool isDynamic();   ///< whether the scene is drawn at every tick
    void forceUpdate(); ///< draws it at the next tick
    /// Pictures a second; 0 and below, or no number, counts as 50.
    virtual void setFPS(double fps);

    /// Writes the scene to a text file, puts a file's items into it, or in its place. A file that
    /// cannot be opened is told on the error stream; loading has emptied the scene by then. Of one
    /// that cannot be written whole, a full disk, the one that was there stays, which is told too.
    /// @throws std::invalid_argument, std::out_of_range for a field of a file that is no number
    void saveToXMLFile(const std::string& path);
    void insertFromXMLFile(const std::string& path); ///< @copydoc saveToXMLFile
    void loadFromXMLFile(const std::string& path);   ///< @copydoc saveToXMLFile

    static std::uint32_t hexToUint(const std::string& text); ///< as LCGColor reads it
    static std::string uintToHex(std::uint32_t color);       ///< "#RRGGBB", without the alpha

private:
    struct ReadItems;

    LCGItem* add(std::unique_ptr<LCGItem> item, const std::string& id);
    template <typename Props>
    LCGItem* addNew(const std::string& id, int x, int y, int w, int h, const Props& props);
    template <typename Item, typename Props>
    void update(const std::string& id, int x, int y, int w, int h, float alpha, bool show,
                const Props& props);
    static ReadItems readItems(const std::string& path);
    void insert(ReadItems& read);
    std::string freeId(const std::string& wanted, std::map<std::string, int>& suffixes);
    static void leaveGroup(LCGItem& item);

    void playbackLoop();
    void waitForTick(std::int64_t start);

    /// Guards all that follows; held while a picture is drawn.
    const std::unique_ptr<quol::FairMutex> itemMutex;
    std::vector<std::unique_ptr<LCGItem>> items; ///< in drawing order
    /// By id; asking for an unknown one leaves a null entry behind, as asking for a group does.
    std::map<std::string, LCGItem*> itemMap;
    std::map<std::string, std::unique_ptr<LCGGroup>> groups;
    int groupCounter = 1;
    const std::unique_ptr<quol::SceneRenderer> renderer;

    std::atomic<bool> needsRender{true}; ///< set by every change, cleared before a picture is drawn
    std::atomic<bool> anyVisible{false}; ///< written by the render thread, at every tick
    std::atomic<double> fps{50.0};
    std::atomic<bool> running{true};
    const std::unique_ptr<quol::Sleeper> sleeper;
    std::thread thread; ///< made by the constructor, joined by the destructor
};
