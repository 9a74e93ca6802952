import fenra

PAGE = "<title>Etxe zuria</title><p>Gure etxea mendian dago, eta zuria da."

with fenra.open("articles.store") as store:
    store.index("https://example.eus/1", PAGE, mime="text/html", date="20090315")
    for hit in store.search("etxearen zuria"):
        print(hit.url, hit.title)
        print("   ", *hit.snippet().marked().split())
